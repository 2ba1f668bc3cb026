#include "platform/Application.h"
#include "platform/Services.h"
#include "platform/StartUp.h"
#include "platform/foundation/Thread.h"
#include "util/alert/QFAlert.h"

#include <iostream>

namespace {

platform::Application& application() {
    return platform::service<platform::Application>();
}

/// Runs on a thread of its own: any thread may show an alert.
void askAndTerminate() {
    // After a second the default button answers.
    const int answer = QFAlert::timedAlertSheetWithMessageText(
        "Save the recording?", "Save", "Discard", std::nullopt,
        "It is saved by itself if you do nothing.", nullptr, std::chrono::seconds(1));
    std::cout << "answer: " << answer << std::endl;

    application().performOnMainThread([] { application().terminate(); }, platform::Wait::no);
}

} // namespace

int main(int argc, char** argv) {
    platform::installServices({"com.example.Alert", "1.0"});
    return platform::windowedMain(argc, argv, "alert.ui", [](platform::Interface& /*interface*/) {
        platform::detachNewThread(askAndTerminate);
    });
}
