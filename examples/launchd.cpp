#include "platform/StartUp.h"
#include "util/launchd/QFLaunchd.h"

#include <iostream>

namespace {

constexpr const char* label = "com.example.player.updater";

int startAndRemoveUpdater() {
    const auto file =
        *QFLocalPaths::libraryDirectory(Domain::user) + "/LaunchAgents/" + label + ".plist";
    const platform::Value::Dictionary job{
        {"Label", label},
        {"ProgramArguments", platform::Value::Array{"/usr/bin/true"}},
        {"StartInterval", 86400},
    };

    // Writes the job's file and has the service manager load it, ignoring its status. With
    // ShouldAuth::yes, a file that the user may not write is written with an administrator's right.
    // The last argument names a process to end before the job is loaded.
    const bool started = QFLaunchd::startJob(label, job, Domain::user, LaunchAgent::yes,
                                             ShouldAuth::no, std::nullopt);
    std::cout << "started: " << started << '\n';
    std::cout << "installed: " << QFFileManager::fileExistsAtPath(file) << '\n';

    // Stops the job, if it is loaded, and deletes its file. With ShouldAuth::yes, a file that the
    // user may not delete is deleted with an administrator's right, and an alert reports a file
    // that remains.
    QFLaunchd::removeJob(label, Domain::user, LaunchAgent::yes, ShouldAuth::no);
    std::cout << "installed: " << QFFileManager::fileExistsAtPath(file) << '\n';
    return 0;
}

} // namespace

int main() {
    platform::installServices({"com.example.Launchd", "1.0"});
    return platform::consoleMain(startAndRemoveUpdater);
}
