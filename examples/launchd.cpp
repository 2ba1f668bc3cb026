#include "platform/PropertyLists.h"
#include "platform/Services.h"
#include "platform/StartUp.h"
#include "util/launchd/QFLaunchd.h"

#include <filesystem>
#include <iostream>

namespace {

constexpr const char* label = "com.example.player.updater";

std::string jobFile() {
    const auto folder = *QFLocalPaths::libraryDirectory(Domain::user) + "/LaunchAgents";
    std::filesystem::create_directories(folder);
    return folder + "/" + label + ".plist";
}

int removeUpdater() {
    const auto file = jobFile();
    const platform::Value::Dictionary job{
        {"Label", label},
        {"ProgramArguments", platform::Value::Array{"/usr/bin/true"}},
    };
    if (platform::service<platform::PropertyLists>().writeAtomically(job, file)) {
        return 1;
    }
    std::cout << "installed: " << QFFileManager::fileExistsAtPath(file) << '\n';

    // Stops the job, if the service manager has it, and deletes its file. With ShouldAuth::yes a
    // file that the user may not delete is deleted with an administrator's right, and an alert
    // reports one that remains.
    QFLaunchd::removeJob(label, Domain::user, LaunchAgent::yes, ShouldAuth::no);
    std::cout << "installed: " << QFFileManager::fileExistsAtPath(file) << '\n';
    return 0;
}

} // namespace

int main() {
    platform::installServices({"com.example.Launchd", "1.0"});
    return platform::consoleMain(removeUpdater);
}
