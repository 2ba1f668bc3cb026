// A program without windows: what each class answers, one a line.

#include "platform/Clock.h"
#include "platform/Preferences.h"
#include "platform/ProcessLauncher.h"
#include "platform/Services.h"
#include "platform/StartUp.h"
#include "util/alert/QFAlert.h"
#include "util/auth/QFAuthorization.h"
#include "util/files/QFFileManager.h"
#include "util/launchd/QFLaunchd.h"
#include "util/log/QFException.h"
#include "util/log/QFLog.h"
#include "util/paths/QFLocalPaths.h"
#include "util/task/QFTaskEx.h"

#include <cstdlib>
#include <ctime>
#include <fstream>
#include <iostream>
#include <string>
#include <unistd.h>

namespace {

void tell(const std::string& what, const std::string& answer) {
    std::cout << what << ": " << answer << std::endl;
}

void tell(const std::string& what, bool answer) {
    tell(what, std::string(answer ? "yes" : "no"));
}

/// The time of day as this program would have it.
class StoppedClock final : public platform::Clock {
public:
    platform::Date now() override { return platform::Date(); }
    std::tm localTime(platform::Date /*moment*/) override { return {}; }
};

void useTasks() {
    tell("output", QFTaskEx::stringFromTask("/bin/echo", {"said"}).value_or("none"));
    tell("slow output", QFTaskEx::stringFromTask("/bin/sh", {"-c", "echo begun; exec sleep 600"},
                                                 platform::Timeout(1))
                            .value_or("none"));
    try {
        QFTaskEx::terminationCodeFromTask("/bin/sh", {std::string("zero\0byte", 9)});
    } catch (const platform::Exception& exception) {
        tell("exception", exception.name());
        QFException::logException(exception, "useTasks");
    }
}

void useFiles(const std::string& home) {
    const auto file = home + "/thrown away";
    std::ofstream(file) << "content";
    tell("exists", QFFileManager::fileExistsAtPath(file));
    tell("trashed", QFFileManager::trashFile(file, ShouldAuth::no));
    tell("still exists", QFFileManager::fileExistsAtPath(file));
}

void usePorts() {
    auto& preferences = platform::service<platform::Preferences>();
    preferences.setValue("kept", "preference");
    tell("preference", *preferences.value("kept").as<std::string>());
    tell("stand-in for launchctl",
         platform::service<platform::ProcessLauncher>().canLaunch("/bin/launchctl"));
    StoppedClock clock;
    const platform::ScopedService<platform::Clock> stopped(clock);
    QFLog::appendLog("written at the beginning of time");
    QFLog::finishWriting(); // an entry is dated when it is written
}

int run() {
    const auto home = QFLocalPaths::userDirectory();
    tell("home", home);
    QFLog::createNewLog("consumer");
    QFLog::appendLog("%@ items", 3);
    useTasks();
    useFiles(home);
    usePorts();
    tell("may authorize",
         ::getuid() == 0 || QFAuthorization::sharedController(UserInterface::no).canAuthorize());
    try {
        QFAlert::alertSheetWithMessageText("message", "informative", nullptr);
    } catch (const platform::Exception& exception) {
        tell("alert", exception.name());
    }
    QFLaunchd::stopJob(std::nullopt, Domain::user, LaunchAgent::yes, ShouldAuth::no);
    QFLog::fastAppendLog("last entry");
    return 7;
}

} // namespace

int main() {
    platform::installServices({"com.example.Consumer", "2.5"});
    return platform::consoleMain(run);
}
