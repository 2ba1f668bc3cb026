#pragma once

#include "platform/AlertPanel.h"
#include "platform/foundation/Delegate.h"
#include "platform/foundation/Value.h"

#include <atomic>
#include <chrono>
#include <cstddef>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace qf {

class Window;

/// Whether a request for an alert returns at once or with the answer.
enum class Block { no, yes };

} // namespace qf

/// A message to the user, attached to a window or on its own. It can be shown from any thread,
/// which can wait for the answer.
///
/// An answer is 1 for the default button, 0 for the alternate one and -1 for the other one
/// (AlertPanel::defaultReturn and so on). A request that shows nothing or does not wait returns -1
/// too. A blocking request on the main thread keeps handling events while it waits; on another
/// thread it sleeps, so the main thread must run its event loop.
///
/// Texts are UTF-8, shown unchanged, and may be missing: a missing message or informative text is
/// empty, a missing default title is the system's own ("OK"), and a missing alternate or other
/// title means that there is no such button. The informative text is a format without arguments:
/// "%%" in it is shown as one percent sign.
class QFAlert final : public qf::Delegate, public std::enable_shared_from_this<QFAlert> {
public:
    /// A text of an alert, which may be missing. A null pointer is a missing text.
    class Text : public std::optional<std::string> {
    public:
        using std::optional<std::string>::optional;
        /// Holds a text, unless it is null or missing.
        Text(std::nullptr_t) {}
        Text(const char* text) {
            if (text != nullptr) {
                emplace(text);
            }
        }
        Text(std::optional<std::string> text) : std::optional<std::string>(std::move(text)) {}
    };

    /// The default completion operation. The arguments of every completion operation are the
    /// platform's alert (a Value::Object that holds a qf::AlertPanel), the answer (an
    /// integer) and no value.
    static constexpr const char* alertDidEndSelector = "alertDidEnd:returnCode:contextInfo:";

    /// Shows an alert. Every shorter member calls this one. Any thread.
    ///
    /// The alert is attached to `parentWindow`, which comes to the front for it, unless that is
    /// null or has an alert already. When it is answered, `delegate`, which is not owned and is the
    /// alert itself when null, performs the operation `didEndSelector` on the main thread. A
    /// delegate that does not know the operation gets no alert: the console says so.
    ///
    /// With Block::yes, waits for the answer and returns it. The answer is the one stored in the
    /// alert object, so a caller's own delegate must set returnCode and alertEnded of `alertObject`
    /// for the wait to end. `alertObject` is the object to use, null for a new one.
    /// `suppressionBinding` is the preference, if any, that a checkbox for not showing the alert
    /// again reads and writes.
    static int alertSheetWithMessageText(const Text& messageText, const Text& defaultButton,
                                         const Text& alternateButton, const Text& otherButton,
                                         const Text& informativeText, qf::Window* parentWindow,
                                         qf::Delegate* delegate, const Text& didEndSelector,
                                         qf::Block block, std::shared_ptr<QFAlert> alertObject,
                                         const Text& suppressionBinding);

    /// Does the same without a checkbox. Any thread.
    static int alertSheetWithMessageText(const Text& messageText, const Text& defaultButton,
                                         const Text& alternateButton, const Text& otherButton,
                                         const Text& informativeText, qf::Window* parentWindow,
                                         qf::Delegate* delegate, const Text& didEndSelector,
                                         qf::Block block, std::shared_ptr<QFAlert> alertObject);

    /// Shows an alert and waits for the answer. The delegate, the completion operation and `block`
    /// are ignored: it has no delegate and always waits. Any thread.
    static int alertSheetWithMessageText(const Text& messageText, const Text& defaultButton,
                                         const Text& alternateButton, const Text& otherButton,
                                         const Text& informativeText, qf::Window* parentWindow,
                                         qf::Delegate* delegate, const Text& didEndSelector,
                                         qf::Block block);

    /// Shows an alert and waits for the answer, whatever `block` says. Any thread.
    static int alertSheetWithMessageText(const Text& messageText, const Text& defaultButton,
                                         const Text& alternateButton, const Text& otherButton,
                                         const Text& informativeText, qf::Window* parentWindow,
                                         qf::Block block);

    /// Shows an alert with one button, the system's own, and waits for the answer. Any thread.
    static int alertSheetWithMessageText(const Text& messageText, const Text& informativeText,
                                         qf::Window* parentWindow);

    /// Shows an alert and waits for the answer, which is the default button's once `interval` has
    /// passed, whether or not the user has answered by then. One thread counts the intervals of all
    /// alerts and keeps each alert for its whole interval; throws qf::Exception
    /// "NSGenericException" if the system cannot start that thread. Any thread.
    static int timedAlertSheetWithMessageText(const Text& messageText, const Text& defaultButton,
                                              const Text& alternateButton, const Text& otherButton,
                                              const Text& informativeText, qf::Window* parentWindow,
                                              std::chrono::seconds interval);

    /// Creates an alert that is not shown yet. To be shown, it must be owned by a std::shared_ptr.
    QFAlert() = default;
    ~QFAlert() override = default;
    QFAlert(const QFAlert&) = delete;
    QFAlert& operator=(const QFAlert&) = delete;
    QFAlert(QFAlert&&) = delete;
    QFAlert& operator=(QFAlert&&) = delete;

    /// Builds and shows the platform's alert. The keys of `request`, each an optional string:
    /// "messageText", "defaultButtonTitle", "alternateButtonTitle", "otherButtonTitle",
    /// "informativeText", "didEndSelector", "suppressionBinding". The alert object lives until the
    /// alert is answered or closed. Main thread only.
    void alertSheetWithDictionary(const qf::Value& request);

    /// Performs the default completion operation: stores the answer, then wakes the waiting thread.
    /// Any thread.
    void alertDidEnd(qf::AlertPanel* alert, int returnCode, const qf::Value& contextInfo);

    /// Sleeps, then answers with the default button.
    void defaultReturnAfterTimeInterval(std::chrono::seconds interval);

    /// Takes the alert off the screen and releases it. Tells no delegate. Main thread only.
    void closeAlert();

    bool respondsTo(const std::string& selector) const override;
    void perform(const std::string& selector, const std::vector<qf::Value>& arguments) override;

    /// The window that the alert is attached to, its delegate, whether it is answered and how, and
    /// the platform's alert while it is shown; pointers may be null. Any thread.
    qf::Window* parentWindow() const { return parentWindow_; }
    void setParentWindow(qf::Window* window) { parentWindow_ = window; }
    qf::Delegate* delegate() const { return delegate_; }
    void setDelegate(qf::Delegate* delegate) { delegate_ = delegate; }
    bool alertEnded() const { return alertEnded_; }
    void setAlertEnded(bool ended) { alertEnded_ = ended; }
    int returnCode() const { return returnCode_; }
    void setReturnCode(int code) { returnCode_ = code; }
    std::shared_ptr<qf::AlertPanel> alert() const;
    void setAlert(std::shared_ptr<qf::AlertPanel> alert);

private:
    int show(const qf::Value& request, qf::Block block);
    void waitForAnswer() const;
    void answerByDefault();
    void didEnd(const std::string& selector, int returnCode);

    std::atomic<qf::Window*> parentWindow_{nullptr};
    std::atomic<qf::Delegate*> delegate_{nullptr};
    std::atomic<bool> alertEnded_{false};
    std::atomic<int> returnCode_{0};
    bool isTimed_ = false;
    mutable std::mutex mutex_;
    std::shared_ptr<qf::AlertPanel> alert_;
};
