#include "util/alert/QFAlert.h"

#include "platform/Application.h"
#include "platform/Clock.h"
#include "platform/Console.h"
#include "platform/Services.h"
#include "platform/Windows.h"
#include "platform/foundation/Format.h"
#include "platform/foundation/Timeout.h"

#include <utility>

using qf::AlertPanel;
using qf::Application;
using qf::Value;
using qf::Wait;
using namespace std::chrono_literals;

namespace {

constexpr const char* noSuchOperation = "Alert error: delegate does not respond to selector %@";

constexpr auto eventDeadline = 10ms;
constexpr auto pollingInterval = 200ms;

Application& application() {
    return qf::service<Application>();
}

void addText(Value::Dictionary& request, const char* key, const QFAlert::Text& text) {
    if (text) {
        request.emplace(key, *text);
    }
}

QFAlert::Text textOf(const Value& request, const char* key) {
    const auto* value = request[key].as<std::string>();
    return value != nullptr ? QFAlert::Text(*value) : std::nullopt;
}

/// The informative text is formatted twice: once as the argument of "%@", and once as the format
/// that the platform fills with no arguments.
qf::AlertDescription description(const Value& request) {
    const auto informative =
        qf::format("%@", textOf(request, "informativeText").value_or(std::string()));
    return {.messageText = textOf(request, "messageText").value_or(std::string()),
            .informativeText = qf::format(informative),
            .defaultButtonTitle = textOf(request, "defaultButtonTitle"),
            .alternateButtonTitle = textOf(request, "alternateButtonTitle"),
            .otherButtonTitle = textOf(request, "otherButtonTitle"),
            .suppressionKey = textOf(request, "suppressionBinding")};
}

/// Deletes an alert on the main thread, whichever thread releases it last.
void deleteOnMainThread(AlertPanel* panel) {
    const auto wait = application().isMainThread() ? Wait::untilDone : Wait::no;
    application().performOnMainThread([panel] { delete panel; }, wait);
}

} // namespace

int QFAlert::alertSheetWithMessageText(const Text& messageText, const Text& defaultButton,
                                       const Text& alternateButton, const Text& otherButton,
                                       const Text& informativeText, qf::Window* parentWindow,
                                       qf::Delegate* delegate, const Text& didEndSelector,
                                       qf::Block block, std::shared_ptr<QFAlert> alertObject,
                                       const Text& suppressionBinding) {
    const auto alert = alertObject ? std::move(alertObject) : std::make_shared<QFAlert>();
    alert->setParentWindow(parentWindow);
    alert->setDelegate(delegate != nullptr ? delegate : alert.get());
    if (!alert->isTimed_) { // whose time may be up already
        alert->setAlertEnded(false);
    }
    const auto selector = didEndSelector.value_or(alertDidEndSelector);
    if (!alert->delegate()->respondsTo(selector)) {
        qf::systemLog(noSuchOperation, selector);
        return AlertPanel::otherReturn;
    }
    Value::Dictionary request = {{"didEndSelector", selector}};
    addText(request, "messageText", messageText);
    addText(request, "defaultButtonTitle", defaultButton);
    addText(request, "alternateButtonTitle", alternateButton);
    addText(request, "otherButtonTitle", otherButton);
    addText(request, "informativeText", informativeText);
    addText(request, "suppressionBinding", suppressionBinding);
    return alert->show(request, block);
}

int QFAlert::alertSheetWithMessageText(const Text& messageText, const Text& defaultButton,
                                       const Text& alternateButton, const Text& otherButton,
                                       const Text& informativeText, qf::Window* parentWindow,
                                       qf::Delegate* delegate, const Text& didEndSelector,
                                       qf::Block block, std::shared_ptr<QFAlert> alertObject) {
    return alertSheetWithMessageText(messageText, defaultButton, alternateButton, otherButton,
                                     informativeText, parentWindow, delegate, didEndSelector, block,
                                     std::move(alertObject), std::nullopt);
}

int QFAlert::alertSheetWithMessageText(const Text& messageText, const Text& defaultButton,
                                       const Text& alternateButton, const Text& otherButton,
                                       const Text& informativeText, qf::Window* parentWindow,
                                       qf::Delegate* /*delegate*/, const Text& /*didEndSelector*/,
                                       qf::Block /*block*/) {
    return alertSheetWithMessageText(messageText, defaultButton, alternateButton, otherButton,
                                     informativeText, parentWindow, nullptr, std::nullopt,
                                     qf::Block::yes, nullptr);
}

int QFAlert::alertSheetWithMessageText(const Text& messageText, const Text& defaultButton,
                                       const Text& alternateButton, const Text& otherButton,
                                       const Text& informativeText, qf::Window* parentWindow,
                                       qf::Block block) {
    return alertSheetWithMessageText(messageText, defaultButton, alternateButton, otherButton,
                                     informativeText, parentWindow, nullptr, std::nullopt, block);
}

int QFAlert::alertSheetWithMessageText(const Text& messageText, const Text& informativeText,
                                       qf::Window* parentWindow) {
    return alertSheetWithMessageText(messageText, std::nullopt, std::nullopt, std::nullopt,
                                     informativeText, parentWindow, nullptr, std::nullopt,
                                     qf::Block::yes);
}

int QFAlert::timedAlertSheetWithMessageText(const Text& messageText, const Text& defaultButton,
                                            const Text& alternateButton, const Text& otherButton,
                                            const Text& informativeText, qf::Window* parentWindow,
                                            std::chrono::seconds interval) {
    const auto alert = std::make_shared<QFAlert>();
    alert->isTimed_ = true;
    qf::service<qf::Clock>().performAfter(qf::Timeout(interval).wholeSeconds(),
                                          [alert] { alert->answerByDefault(); });
    return alertSheetWithMessageText(messageText, defaultButton, alternateButton, otherButton,
                                     informativeText, parentWindow, nullptr, std::nullopt,
                                     qf::Block::yes, alert);
}

int QFAlert::show(const Value& request, qf::Block block) {
    const auto alert = shared_from_this();
    application().performOnMainThread(
        [alert, request] { alert->alertSheetWithDictionary(request); }, Wait::untilDone);
    if (block == qf::Block::no) {
        return AlertPanel::otherReturn;
    }
    waitForAnswer();
    application().performOnMainThread([alert] { alert->closeAlert(); }, Wait::untilDone);
    return returnCode();
}

void QFAlert::waitForAnswer() const {
    while (!alertEnded()) {
        if (application().isMainThread()) {
            application().handleNextEvent(eventDeadline);
        } else {
            qf::sleep(pollingInterval);
        }
    }
}

void QFAlert::alertSheetWithDictionary(const Value& request) {
    const auto selector = textOf(request, "didEndSelector").value_or(std::string());
    setAlert({qf::service<qf::AlertPanels>().create(description(request)).release(),
              deleteOnMainThread});
    if (parentWindow() != nullptr && parentWindow()->hasAttachedSheet()) {
        setParentWindow(nullptr);
    }
    if (parentWindow() != nullptr) {
        parentWindow()->makeKeyAndOrderFront();
    }
    alert()->beginSheet(parentWindow(), [alert = shared_from_this(), selector](int code) {
        alert->didEnd(selector, code);
    });
}

void QFAlert::didEnd(const std::string& selector, int returnCode) {
    auto* const told = delegate();
    if (told != nullptr && told->respondsTo(selector)) {
        told->perform(selector, {Value::Object(alert()), returnCode, Value()});
    }
}

void QFAlert::alertDidEnd(AlertPanel* /*alert*/, int returnCode, const Value& /*contextInfo*/) {
    setReturnCode(returnCode);
    setAlertEnded(true);
}

void QFAlert::defaultReturnAfterTimeInterval(std::chrono::seconds interval) {
    qf::sleep(qf::Timeout(interval).wholeSeconds());
    answerByDefault();
}

void QFAlert::answerByDefault() {
    setReturnCode(AlertPanel::defaultReturn);
    setAlertEnded(true);
}

void QFAlert::closeAlert() {
    if (const auto panel = alert()) {
        if (panel->isVisible()) {
            panel->orderOut();
        }
        setAlert(nullptr);
    }
}

bool QFAlert::respondsTo(const std::string& selector) const {
    return selector == alertDidEndSelector;
}

void QFAlert::perform(const std::string& /*selector*/, const std::vector<Value>& arguments) {
    const auto* panel = arguments.at(0).as<Value::Object>();
    const auto* code = arguments.at(1).as<std::int64_t>();
    alertDidEnd(panel != nullptr ? static_cast<AlertPanel*>(panel->get()) : nullptr,
                code != nullptr ? static_cast<int>(*code) : AlertPanel::otherReturn,
                arguments.at(2));
}

std::shared_ptr<AlertPanel> QFAlert::alert() const {
    const std::lock_guard lock(mutex_);
    return alert_;
}

void QFAlert::setAlert(std::shared_ptr<AlertPanel> alert) {
    const std::lock_guard lock(mutex_);
    alert_.swap(alert);
}
