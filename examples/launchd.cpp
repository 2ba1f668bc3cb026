#include "qf/platform/StartUp.h"
#include "qf/util/launchd/QFLaunchd.h"

#include <iostream>

namespace {

constexpr const char* label = "com.example.player.updater";

int startAndRemoveUpdater() {
    const auto file =
        *QFLocalPaths::libraryDirectory(qf::Domain::user) + "/LaunchAgents/" + label + ".plist";
    const qf::Value::Dictionary job{
        {"Label", label},
        {"ProgramArguments", qf::Value::Array{"/usr/bin/true"}},
        {"StartInterval", 86400},
    };

    // Writes the job's file and has the service manager load it. A file that the user may not write
    // is written with an administrator's right, whatever ShouldAuth says; with ShouldAuth::yes, its
    // owner and mode are set with that right in any case. The last argument names a process to end
    // before the job is loaded. True does not mean that the job is loaded: `launchctl load FILE` in
    // a terminal says why it is not.
    const bool started = QFLaunchd::startJob(label, job, qf::Domain::user, qf::LaunchAgent::yes,
                                             qf::ShouldAuth::no, std::nullopt);
    std::cout << "started: " << started << '\n';
    std::cout << "installed: " << QFFileManager::fileExistsAtPath(file) << '\n';

    // Stops the job, if it is loaded, and deletes its file. With ShouldAuth::yes, a file that the
    // user may not delete is deleted with an administrator's right, and an alert reports a file
    // that remains.
    QFLaunchd::removeJob(label, qf::Domain::user, qf::LaunchAgent::yes, qf::ShouldAuth::no);
    std::cout << "installed: " << QFFileManager::fileExistsAtPath(file) << '\n';
    return 0;
}

} // namespace

int main() {
    qf::installServices({"com.example.Launchd", "1.0"});
    return qf::consoleMain(startAndRemoveUpdater);
}
