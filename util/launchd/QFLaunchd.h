#pragma once

#include "platform/foundation/Value.h"
#include "util/files/QFFileManager.h"
#include "util/paths/QFLocalPaths.h"

#include <optional>
#include <string>

/// Whether a job is an agent, which runs for a user, or a daemon, which runs for the machine.
enum class LaunchAgent { no, yes };

/// The background jobs of the service manager, launchd.
///
/// A job is a property list in the directory "LaunchAgents" or "LaunchDaemons" of the domain's
/// Library, named after the job's label with ".plist" added, and the service manager's loaded copy
/// of it. The label stands in the file's path as it is given, so one with "/" in it names a file
/// elsewhere; without a label the file is called "(null).plist". What the tools answer is not
/// looked at. The class holds no state; any thread may call every member.
class QFLaunchd {
public:
    QFLaunchd() = delete;

    /// Installs a job and starts it: writes `settings`, which are not looked at, as the job's
    /// property list in the place of one that is there, whose job is removed first; sets the file's
    /// owner to "root:wheel" (only in Domain::local) and its mode to 644; and has the service
    /// manager load it anew. A process named `killProcessName`, if any, is ended before that. Each
    /// tool that runs without privilege gets at most 10 seconds.
    ///
    /// A missing job directory is made. Where the job file cannot be written, it is written to the
    /// temporary directory and moved into place, the privileged way if need be, whatever
    /// `shouldAuth` says; owner and mode are then set the privileged way, too. With ShouldAuth::yes
    /// they always are, which takes a second for the tools to finish.
    ///
    /// True when the file is in place and loading it was tried. False when it could not be written,
    /// which is logged, told on the system console, and reported by an alert on the main window,
    /// which this waits for. A program without windows shows no alert.
    static bool startJob(const std::optional<std::string>& label,
                         const platform::Value::Dictionary& settings, Domain user,
                         LaunchAgent launchAgent, ShouldAuth shouldAuth,
                         const std::optional<std::string>& killProcessName);

    /// Starts an agent with ShouldAuth::no, ending no process.
    static bool startLaunchAgent(const std::optional<std::string>& label,
                                 const platform::Value::Dictionary& settings, Domain user);

    /// Stops a job and deletes its file, if there is one; then it pauses 500 microseconds. With
    /// ShouldAuth::yes a file that the user may not delete goes the privileged way, and one that
    /// remains is reported by an alert on the main window, which this waits for. Messages are those
    /// of QFFileManager::removeFile.
    static void removeJob(const std::optional<std::string>& label, Domain user,
                          LaunchAgent launchAgent, ShouldAuth shouldAuth);

    /// Removes an agent of the user's own, with ShouldAuth::yes. The domain is not looked at.
    static void removeLaunchAgent(const std::optional<std::string>& label, Domain user);

    /// Unloads a job's file and removes the job by its label, each at most 10 seconds and without
    /// privilege, whether or not the file exists and whatever `shouldAuth` says. Without a label
    /// nothing is run.
    static void stopJob(const std::optional<std::string>& label, Domain user,
                        LaunchAgent launchAgent, ShouldAuth shouldAuth);
};
