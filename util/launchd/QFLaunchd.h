#pragma once

#include "util/files/QFFileManager.h"
#include "util/paths/QFLocalPaths.h"

#include <optional>
#include <string>

/// Whether a job is an agent, which runs for a user, or a daemon, which runs for the machine.
enum class LaunchAgent { no, yes };

/// The background jobs of the service manager, launchd.
///
/// A job is a property list in the folder "LaunchAgents" or "LaunchDaemons" of the domain's
/// Library, named after the job's label with ".plist" added, and the service manager's loaded copy
/// of it. What "/bin/launchctl" answers is not looked at. The class holds no state; any thread may
/// call every member.
class QFLaunchd {
public:
    QFLaunchd() = delete;

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
