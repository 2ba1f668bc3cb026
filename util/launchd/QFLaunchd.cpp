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

constexpr std::string_view noLibrary = "The domain has no Library directory for jobs.";
constexpr std::string_view toolFailed = "Unable to run %@ for %@ as administrator - error %d";

/// Returns the directory of such jobs; no value if the domain has no Library.
std::optional<std::string> jobDirectory(qf::Domain domain, qf::LaunchAgent launchAgent) {
    const auto library = QFLocalPaths::libraryDirectory(domain);
    if (!library) {
        return std::nullopt;
    }
    return qf::path::appending(*library, launchAgent == qf::LaunchAgent::yes ? "LaunchAgents"
                                                                             : "LaunchDaemons");
}

std::string jobFile(const std::string& directory, const std::optional<std::string>& label) {
    return qf::format(jobFileFormat, directory, label);
}

qf::Window* mainWindow() {
    auto& application = qf::service<qf::Application>();
    qf::Window* window = nullptr;
    application.performOnMainThread([&] { window = application.mainWindow(); },
                                    qf::Wait::untilDone);
    return window;
}

/// Shows the alert about a job directory and waits for its answer. Does nothing in a program
/// without windows.
void showAlert(const char* message, const std::optional<std::string>& directory) {
    if (qf::installedService<qf::Application>() == nullptr ||
        qf::installedService<qf::AlertPanels>() == nullptr) {
        return;
    }
    QFAlert::alertSheetWithMessageText(message, qf::format(checkPermissions, directory),
                                       mainWindow());
}

qf::Result<void> writeSettings(const qf::Value::Dictionary& settings, const std::string& file) {
    return qf::service<qf::PropertyLists>().writeAtomically(settings, file);
}

void runTool(const char* tool, const std::vector<std::string>& arguments) {
    QFTaskEx::runTask(tool, arguments, toolTimeout);
}

/// The messages to the log and to the console differ on purpose.
void reportUnwritable(const std::optional<std::string>& directory) {
    QFLog::appendLog(unableToCreateLine, directory);
    qf::systemLog(unableToWriteLine, directory);
    showAlert(unableToWrite, directory);
}

void reportUnmovable(const std::string& directory) {
    QFLog::appendLog(unableToCreateLine, directory);
    qf::systemLog(unableToCreateLine, directory);
    showAlert(unableToCreate, directory);
}

/// Writes the settings to the temporary directory and moves them to the job file, which could not
/// be written itself.
qf::Result<void> writeThroughTemporaryFile(const qf::Value::Dictionary& settings,
                                           const std::string& directory,
                                           const std::optional<std::string>& label) {
    const std::string file = jobFile(directory, label);
    const std::string temporary = jobFile(QFLocalPaths::tempDirectory(), label);
    if (auto written = writeSettings(settings, temporary); !written) {
        reportUnwritable(directory);
        return written;
    }
    if (QFFileManager::fileExistsAtPath(file)) {
        QFFileManager::removeFile(file, qf::Timeout(5));
    }
    QFLog::appendLog(tryingToAuthorize);
    if (const auto moved = QFFileManager::moveFileWithResult(temporary, file, qf::Timeout(10));
        !moved) {
        reportUnmovable(directory);
        QFFileManager::removeFile(temporary);
        return qf::Unexpected(moved.error());
    }
    QFFileManager::removeFile(temporary, qf::Timeout(10));
    return {};
}

void setOwnerAndMode(const std::string& file, qf::Domain domain) {
    if (domain == qf::Domain::local) {
        runTool(chown, {ownerOfMachinesJobs, file});
    }
    runTool(chmod, {modeOfJobs, file});
}

void reportFailure(const char* tool, const std::string& file, int status) {
    if (status != 0) {
        qf::systemLog(toolFailed, tool, file, status);
    }
}

/// The machine's job gets the settings anew when it becomes the superuser's: until then any program
/// of the user can write to the file. The pauses let the tools, which are only started, finish
/// before the next step.
void setOwnerAndModePrivileged(const qf::Value::Dictionary& settings, const std::string& file,
                               qf::Domain domain) {
    auto& authorization = QFAuthorization::sharedController();
    if (domain == qf::Domain::local) {
        const auto content = qf::service<qf::PropertyLists>().xml(settings);
        reportFailure(
            chown, file,
            authorization.authExecTask(chown, {ownerOfMachinesJobs, file}, content.value_or("")));
    }
    qf::sleep(pauseAfterOwner);
    reportFailure(chmod, file, authorization.authExecTask(chmod, {modeOfJobs, file}));
    qf::sleep(pauseAfterMode);
}

} // namespace

bool QFLaunchd::startJob(const std::optional<std::string>& label,
                         const qf::Value::Dictionary& settings, qf::Domain user,
                         qf::LaunchAgent launchAgent, qf::ShouldAuth shouldAuth,
                         const std::optional<std::string>& killProcessName) {
    return startJobWithResult(label, settings, user, launchAgent, shouldAuth, killProcessName).ok();
}

qf::Result<void> QFLaunchd::startJobWithResult(const std::optional<std::string>& label,
                                               const qf::Value::Dictionary& settings,
                                               qf::Domain user, qf::LaunchAgent launchAgent,
                                               qf::ShouldAuth shouldAuth,
                                               const std::optional<std::string>& killProcessName) {
    const auto directory = jobDirectory(user, launchAgent);
    if (!directory) {
        reportUnwritable(directory);
        return qf::Unexpected(qf::Error{.domain = "QFLaunchdErrorDomain",
                                        .localizedDescription = std::string(noLibrary)});
    }
    if (!QFFileManager::fileExistsAtPath(*directory)) {
        QFFileManager::createDirectory(*directory, shouldAuth);
    }
    const std::string file = jobFile(*directory, label);
    if (QFFileManager::fileExistsAtPath(file)) {
        removeJob(label, user, launchAgent, shouldAuth);
    }
    bool useAuth = shouldAuth == qf::ShouldAuth::yes;
    if (!writeSettings(settings, file)) {
        if (auto written = writeThroughTemporaryFile(settings, *directory, label); !written) {
            return written;
        }
        useAuth = true;
    }
    if (killProcessName) {
        runTool("/usr/bin/killall", {*killProcessName});
    }
    useAuth ? setOwnerAndModePrivileged(settings, file, user) : setOwnerAndMode(file, user);
    runTool(launchctl, {"unload", file});
    runTool(launchctl, {"load", file});
    return {};
}

bool QFLaunchd::startLaunchAgent(const std::optional<std::string>& label,
                                 const qf::Value::Dictionary& settings, qf::Domain user) {
    return startLaunchAgentWithResult(label, settings, user).ok();
}

qf::Result<void> QFLaunchd::startLaunchAgentWithResult(const std::optional<std::string>& label,
                                                       const qf::Value::Dictionary& settings,
                                                       qf::Domain user) {
    return startJobWithResult(label, settings, user, qf::LaunchAgent::yes, qf::ShouldAuth::no,
                              std::nullopt);
}

void QFLaunchd::removeJob(const std::optional<std::string>& label, qf::Domain user,
                          qf::LaunchAgent launchAgent, qf::ShouldAuth shouldAuth) {
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
        qf::sleep(pauseAfterRemoval);
    } else if (shouldAuth == qf::ShouldAuth::yes) {
        showAlert(unableToRemove, directory);
    }
}

void QFLaunchd::removeLaunchAgent(const std::optional<std::string>& label, qf::Domain /*user*/) {
    removeJob(label, qf::Domain::user, qf::LaunchAgent::yes, qf::ShouldAuth::yes);
}

void QFLaunchd::stopJob(const std::optional<std::string>& label, qf::Domain user,
                        qf::LaunchAgent launchAgent, qf::ShouldAuth /*shouldAuth*/) {
    if (!label) {
        return;
    }
    if (const auto directory = jobDirectory(user, launchAgent)) {
        runTool(launchctl, {"unload", jobFile(*directory, label)});
    }
    runTool(launchctl, {"remove", *label});
}
