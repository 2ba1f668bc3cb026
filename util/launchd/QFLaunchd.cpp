#include "util/launchd/QFLaunchd.h"

#include "platform/Application.h"
#include "platform/Services.h"
#include "platform/foundation/Format.h"
#include "platform/foundation/Path.h"
#include "util/alert/QFAlert.h"
#include "util/task/QFTaskEx.h"

#include <chrono>
#include <string_view>
#include <thread>

namespace {

constexpr const char* launchctl = "/bin/launchctl";
constexpr std::chrono::seconds toolTimeout{10};
constexpr std::chrono::microseconds pauseAfterRemoval{500};

constexpr std::string_view jobFileFormat = "%@/%@.plist";
constexpr const char* unableToRemove = "Error: Unable to remove LaunchAgent";
constexpr std::string_view checkPermissions =
    "Please check you have correct permissions for the directory %@.";

/// The folder of such jobs, missing where the domain has no Library.
std::optional<std::string> jobFolder(Domain domain, LaunchAgent launchAgent) {
    const auto library = QFLocalPaths::libraryDirectory(domain);
    if (!library) {
        return std::nullopt;
    }
    return platform::path::appending(*library, launchAgent == LaunchAgent::yes ? "LaunchAgents"
                                                                               : "LaunchDaemons");
}

std::string jobFile(const std::string& folder, const std::optional<std::string>& label) {
    return platform::format(jobFileFormat, folder, label);
}

platform::Window* mainWindow() {
    auto& application = platform::service<platform::Application>();
    platform::Window* window = nullptr;
    application.performOnMainThread([&] { window = application.mainWindow(); },
                                    platform::Wait::untilDone);
    return window;
}

} // namespace

void QFLaunchd::removeJob(const std::optional<std::string>& label, Domain user,
                          LaunchAgent launchAgent, ShouldAuth shouldAuth) {
    stopJob(label, user, launchAgent, shouldAuth);
    const auto folder = jobFolder(user, launchAgent);
    if (!folder) {
        return;
    }
    const std::string file = jobFile(*folder, label);
    if (!QFFileManager::fileExistsAtPath(file)) {
        return;
    }
    if (QFFileManager::removeFile(file, shouldAuth)) {
        std::this_thread::sleep_for(pauseAfterRemoval);
    } else if (shouldAuth == ShouldAuth::yes) {
        QFAlert::alertSheetWithMessageText(
            unableToRemove, platform::format(checkPermissions, *folder), mainWindow());
    }
}

void QFLaunchd::removeLaunchAgent(const std::optional<std::string>& label, Domain /*user*/) {
    removeJob(label, Domain::user, LaunchAgent::yes, ShouldAuth::yes);
}

void QFLaunchd::stopJob(const std::optional<std::string>& label, Domain user,
                        LaunchAgent launchAgent, ShouldAuth /*shouldAuth*/) {
    if (!label) {
        return;
    }
    if (const auto folder = jobFolder(user, launchAgent)) {
        QFTaskEx::runTask(launchctl, {"unload", jobFile(*folder, label)}, toolTimeout);
    }
    QFTaskEx::runTask(launchctl, {"remove", *label}, toolTimeout);
}
