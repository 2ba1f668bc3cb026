#include "qf/platform/Application.h"
#include "qf/platform/Services.h"
#include "qf/platform/StartUp.h"
#include "qf/platform/foundation/Thread.h"
#include "qf/util/alert/QFAlert.h"

#include <iostream>

namespace {

qf::Application& application() {
    return qf::service<qf::Application>();
}

/// Runs on a thread of its own: any thread may show an alert.
void askAndTerminate() {
    // After a second the default button answers.
    const int answer = QFAlert::timedAlertSheetWithMessageText(
        "Save the recording?", "Save", "Discard", std::nullopt,
        "It is saved by itself if you do nothing.", nullptr, std::chrono::seconds(1));
    std::cout << "answer: " << answer << std::endl;

    application().performOnMainThread([] { application().terminate(); }, qf::Wait::no);
}

} // namespace

int main(int argc, char** argv) {
    qf::installServices({"com.example.Alert", "1.0"});
    // The interface file is looked for in the working directory.
    return qf::windowedMain(argc, argv, "alert.ui", [](qf::Interface& /*interface*/) {
        qf::detachNewThread(askAndTerminate);
    });
}
