#include "platform/qt/StartUpMessages.h"

#include "platform/support/NamedDisplay.h"

#include <QString>

#include <cstdlib>
#include <string>
#include <utility>

namespace qf::qt {

namespace {

std::string firstWarning;
WithoutDisplay whenThereIsNoDisplay;

std::string whyNoDisplay(const std::string& lastWords) {
    if (!isDisplayNamed()) {
        return noDisplayNamed;
    }
    return firstWarning.empty() ? lastWords : firstWarning;
}

void keepBack(QtMsgType type, const QMessageLogContext& /*context*/, const QString& message) {
    const auto text = message.simplified().toStdString();
    if (type == QtFatalMsg) {
        whenThereIsNoDisplay(whyNoDisplay(text));
        std::_Exit(EXIT_FAILURE);
    }
    if (type == QtWarningMsg && firstWarning.empty()) {
        firstWarning = text;
    }
}

} // namespace

StartUpMessages::StartUpMessages(WithoutDisplay withoutDisplay)
    : former_(qInstallMessageHandler(keepBack)) {
    firstWarning.clear();
    whenThereIsNoDisplay = std::move(withoutDisplay);
}

StartUpMessages::~StartUpMessages() {
    qInstallMessageHandler(former_);
}

} // namespace qf::qt
