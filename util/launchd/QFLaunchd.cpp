#include "util/launchd/QFLaunchd.h"

#include "platform/AlertPanel.h"
#include "platform/Application.h"
#include "platform/Clock.h"
#include "platform/Console.h"
#include "platform/PropertyLists.h"
#include "platform/Services.h"
#include "platform/foundation/Format.h"
#include "platform/foundation/Path.h"
#include "util/alert/QFAlert.h"
#include "util/auth/QFAuthorization.h"
#include "util/log/QFLog.h"
#include "util/task/QFTaskEx.h"

#include <chrono>
#include <string_view>

namespace {

constexpr const char* launchctl = "/bin/launchctl";
constexpr const char* chown = "/usr/sbin/chown";
constexpr const char* chmod = "/bin/chmod";
constexpr const char* ownerOfMachinesJobs = "root:wheel";
constexpr const char* modeOfJobs = "644";
constexpr std::chrono::seconds toolTimeout{10};
constexpr std::chrono::microseconds pauseAfterRemoval{500};
constexpr std::chrono::microseconds pauseAfterOwner{500};
constexpr std::chrono::seconds pauseAfterMode{1};

constexpr std::string_view jobFileFormat = "%@/%@.plist";
constexpr const char* unableToRemove = "Error: Unable to remove LaunchAgent";
constexpr const char* unableToWrite = "Error: Unable to write LaunchAgent data";
constexpr const char* unableToCreate = "Error: Unable to create LaunchAgent";
constexpr std::string_view checkPermissions =
    "Please check you have correct permissions for the directory %@.";
constexpr std::string_view unableToWriteLine =
    "Error: Unable to write LaunchAgent data. Please check you have correct permissions for the "
    "directory %@";
constexpr std::string_view unableToCreateLine =
    "Error: Unable to create LaunchAgent. Please check you have correct permissions for the "
    "directory %@";
constexpr std::string_view tryingToAuthorize =
    "Unable to write launchd plist - trying to authorize...";

constexpr std::string_view toolFailed = "Unable to run %@ for %@ as administrator - error %d";

/// Returns the directory of such jobs; no value if the domain has no Library.
std::optional<std::string> jobDirectory(Domain domain, LaunchAgent launchAgent) {
    const auto library = QFLocalPaths::libraryDirectory(domain);
    if (!library) {
        return std::nullopt;
    }
    return platform::path::appending(*library, launchAgent == LaunchAgent::yes ? "LaunchAgents"
                                                                               : "LaunchDaemons");
}

std::string jobFile(const std::string& directory, const std::optional<std::string>& label) {
    return platform::format(jobFileFormat, directory, label);
}

platform::Window* mainWindow() {
    auto& application = platform::service<platform::Application>();
    platform::Window* window = nullptr;
    application.performOnMainThread([&] { window = application.mainWindow(); },
                                    platform::Wait::untilDone);
    return window;
}

/// Shows the alert about a job directory and waits for its answer. Does nothing in a program
/// without windows.
void showAlert(const char* message, const std::optional<std::string>& directory) {
    if (platform::installedService<platform::Application>() == nullptr ||
        platform::installedService<platform::AlertPanels>() == nullptr) {
        return;
    }
    QFAlert::alertSheetWithMessageText(message, platform::format(checkPermissions, directory),
                                       mainWindow());
}

bool writeSettings(const platform::Value::Dictionary& settings, const std::string& file) {
    return platform::service<platform::PropertyLists>().writeAtomically(settings, file).ok();
}

void runTool(const char* tool, const std::vector<std::string>& arguments) {
    QFTaskEx::runTask(tool, arguments, toolTimeout);
}

/// The messages to the log and to the console differ on purpose.
void reportUnwritable(const std::optional<std::string>& directory) {
    QFLog::appendLog(unableToCreateLine, directory);
    platform::systemLog(unableToWriteLine, directory);
    showAlert(unableToWrite, directory);
}

void reportUnmovable(const std::string& directory) {
    QFLog::appendLog(unableToCreateLine, directory);
    platform::systemLog(unableToCreateLine, directory);
    showAlert(unableToCreate, directory);
}

/// Writes the settings to the temporary directory and moves them to the job file, which could not
/// be written itself. Returns whether they are there.
bool writeThroughTemporaryFile(const platform::Value::Dictionary& settings,
                               const std::string& directory,
                               const std::optional<std::string>& label) {
    const std::string file = jobFile(directory, label);
    const std::string temporary = jobFile(QFLocalPaths::tempDirectory(), label);
    if (!writeSettings(settings, temporary)) {
        reportUnwritable(directory);
        return false;
    }
    if (QFFileManager::fileExistsAtPath(file)) {
        QFFileManager::removeFile(file, platform::Timeout(5));
    }
    QFLog::appendLog(tryingToAuthorize);
    if (!QFFileManager::moveFile(temporary, file, platform::Timeout(10))) {
        reportUnmovable(directory);
        QFFileManager::removeFile(temporary);
        return false;
    }
    QFFileManager::removeFile(temporary, platform::Timeout(10));
    return true;
}

void setOwnerAndMode(const std::string& file, Domain domain) {
    if (domain == Domain::local) {
        runTool(chown, {ownerOfMachinesJobs, file});
    }
    runTool(chmod, {modeOfJobs, file});
}

void reportFailure(const char* tool, const std::string& file, int status) {
    if (status != 0) {
        platform::systemLog(toolFailed, tool, file, status);
    }
}

/// The machine's job gets the settings anew when it becomes the superuser's: until then any program
/// of the user can write to the file. The pauses let the tools, which are only started, finish
/// before the next step.
void setOwnerAndModePrivileged(const platform::Value::Dictionary& settings, const std::string& file,
                               Domain domain) {
    auto& authorization = QFAuthorization::sharedController();
    if (domain == Domain::local) {
        const auto content = platform::service<platform::PropertyLists>().xml(settings);
        reportFailure(
            chown, file,
            authorization.authExecTask(chown, {ownerOfMachinesJobs, file}, content.value_or("")));
    }
    platform::sleep(pauseAfterOwner);
    reportFailure(chmod, file, authorization.authExecTask(chmod, {modeOfJobs, file}));
    platform::sleep(pauseAfterMode);
}

} // namespace

bool QFLaunchd::startJob(const std::optional<std::string>& label,
                         const platform::Value::Dictionary& settings, Domain user,
                         LaunchAgent launchAgent, ShouldAuth shouldAuth,
                         const std::optional<std::string>& killProcessName) {
    const auto directory = jobDirectory(user, launchAgent);
    if (!directory) {
        reportUnwritable(directory);
        return false;
    }
    if (!QFFileManager::fileExistsAtPath(*directory)) {
        QFFileManager::createDirectory(*directory, shouldAuth);
    }
    const std::string file = jobFile(*directory, label);
    if (QFFileManager::fileExistsAtPath(file)) {
        removeJob(label, user, launchAgent, shouldAuth);
    }
    bool useAuth = shouldAuth == ShouldAuth::yes;
    if (!writeSettings(settings, file)) {
        if (!writeThroughTemporaryFile(settings, *directory, label)) {
            return false;
        }
        useAuth = true;
    }
    if (killProcessName) {
        runTool("/usr/bin/killall", {*killProcessName});
    }
    useAuth ? setOwnerAndModePrivileged(settings, file, user) : setOwnerAndMode(file, user);
    runTool(launchctl, {"unload", file});
    runTool(launchctl, {"load", file});
    return true;
}

bool QFLaunchd::startLaunchAgent(const std::optional<std::string>& label,
                                 const platform::Value::Dictionary& settings, Domain user) {
    return startJob(label, settings, user, LaunchAgent::yes, ShouldAuth::no, std::nullopt);
}

void QFLaunchd::removeJob(const std::optional<std::string>& label, Domain user,
                          LaunchAgent launchAgent, ShouldAuth shouldAuth) {
    stopJob(label, user, launchAgent, shouldAuth);
    const auto directory = jobDirectory(user, launchAgent);
    if (!directory) {
        return;
    }
    const std::string file = jobFile(*directory, label);
    if (!QFFileManager::fileExistsAtPath(file)) {
        return;
    }
    if (QFFileManager::removeFile(file, shouldAuth)) {
        platform::sleep(pauseAfterRemoval);
    } else if (shouldAuth == ShouldAuth::yes) {
        showAlert(unableToRemove, directory);
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
    if (const auto directory = jobDirectory(user, launchAgent)) {
        runTool(launchctl, {"unload", jobFile(*directory, label)});
    }
    runTool(launchctl, {"remove", *label});
}
