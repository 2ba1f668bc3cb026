#pragma once

#include "platform/foundation/Result.h"
#include "platform/foundation/Value.h"
#include "util/files/QFFileManager.h"
#include "util/paths/QFLocalPaths.h"

#include <optional>
#include <string>

namespace qf {

/// Whether a job is an agent, which runs for a user, or a daemon, which runs for the machine.
enum class LaunchAgent { no, yes };

} // namespace qf

/// The background jobs of the service manager, launchd.
///
/// A job is a property list in the directory "LaunchAgents" or "LaunchDaemons" of the domain's
/// Library, named after the job's label with ".plist" added, and the service manager's loaded copy
/// of it. The label is part of the file's path unchanged, so a label that contains "/" names a file
/// elsewhere; without a label the file is called "(null).plist". The tools' statuses are ignored.
/// The class has no state; any thread may call every member.
class QFLaunchd {
public:
    QFLaunchd() = delete;

    /// Installs a job and starts it: writes `settings`, unchecked, as the job's property list,
    /// replacing an existing one, whose job is removed first; sets the file's owner to "root:wheel"
    /// (only in Domain::local) and its mode to 644; and has the service manager load it. Ends a
    /// process named `killProcessName`, if any, before that. Each tool that runs without
    /// administrator rights gets at most 10 seconds.
    ///
    /// Creates a missing job directory. If the job file cannot be written, it is written to the
    /// temporary directory and moved into place, with administrator rights if necessary, whatever
    /// `shouldAuth` says; owner and mode are then set with administrator rights too. With
    /// ShouldAuth::yes they always are, which adds a second for the tools to finish.
    ///
    /// Returns true if the file is in place and loading it was tried; why the service manager
    /// refused the job is in the machine's system log, written by launchctl. Returns false if it
    /// could not be written, which is logged, written to the system console, and reported by an
    /// alert on the main window, for whose answer the call waits. A program without windows shows
    /// no alert.
    static bool startJob(const std::optional<std::string>& label,
                         const qf::Value::Dictionary& settings, qf::Domain user,
                         qf::LaunchAgent launchAgent, qf::ShouldAuth shouldAuth,
                         const std::optional<std::string>& killProcessName);

    /// As startJob; says why the file could not be written or moved into place.
    static qf::Result<void> startJobWithResult(const std::optional<std::string>& label,
                                               const qf::Value::Dictionary& settings,
                                               qf::Domain user, qf::LaunchAgent launchAgent,
                                               qf::ShouldAuth shouldAuth,
                                               const std::optional<std::string>& killProcessName);

    /// Starts an agent with ShouldAuth::no, ending no process.
    static bool startLaunchAgent(const std::optional<std::string>& label,
                                 const qf::Value::Dictionary& settings, qf::Domain user);
    static qf::Result<void> startLaunchAgentWithResult(const std::optional<std::string>& label,
                                                       const qf::Value::Dictionary& settings,
                                                       qf::Domain user);

    /// Stops a job and deletes its file, if it exists; then pauses 500 microseconds. With
    /// ShouldAuth::yes, a file that the user is not permitted to delete is deleted with
    /// administrator rights, and one that remains is reported by an alert on the main window, for
    /// whose answer the call waits. Logs what QFFileManager::removeFile logs.
    static void removeJob(const std::optional<std::string>& label, qf::Domain user,
                          qf::LaunchAgent launchAgent, qf::ShouldAuth shouldAuth);

    /// Removes an agent of the user's own, with ShouldAuth::yes. The domain is ignored.
    static void removeLaunchAgent(const std::optional<std::string>& label, qf::Domain user);

    /// Unloads a job's file and removes the job by its label, each in at most 10 seconds and
    /// without administrator rights, whether or not the file exists and whatever `shouldAuth` says.
    /// Without a label, runs nothing.
    static void stopJob(const std::optional<std::string>& label, qf::Domain user,
                        qf::LaunchAgent launchAgent, qf::ShouldAuth shouldAuth);
};
