// A program without windows: what each class answers, one a line.

#include "qf/platform/Clock.h"
#include "qf/platform/Preferences.h"
#include "qf/platform/ProcessLauncher.h"
#include "qf/platform/Services.h"
#include "qf/platform/StartUp.h"
#include "qf/util/alert/QFAlert.h"
#include "qf/util/auth/QFAuthorization.h"
#include "qf/util/files/QFFileManager.h"
#include "qf/util/launchd/QFLaunchd.h"
#include "qf/util/log/QFException.h"
#include "qf/util/log/QFLog.h"
#include "qf/util/paths/QFLocalPaths.h"
#include "qf/util/task/QFTaskEx.h"

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <iostream>
#include <memory>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

void tell(const std::string& what, const std::string& answer) {
    std::cout << what << ": " << answer << std::endl;
}

void tell(const std::string& what, bool answer) {
    tell(what, std::string(answer ? "yes" : "no"));
}

/// The time of day as this program would have it.
class StoppedClock final : public qf::Clock {
public:
    qf::Date now() override { return qf::Date(); }
    std::tm localTime(qf::Date /*moment*/) override { return {}; }
};

void useTasks() {
    tell("output", QFTaskEx::stringFromTask("/bin/echo", {"said"}).value_or("none"));
    tell("slow output",
         QFTaskEx::stringFromTask("/bin/sh", {"-c", "echo begun; exec sleep 600"}, qf::Timeout(1))
             .value_or("none"));
    try {
        QFTaskEx::terminationCodeFromTask("/bin/sh", {std::string("zero\0byte", 9)});
    } catch (const qf::Exception& exception) {
        tell("exception", exception.name());
        QFException::logException(exception, "useTasks");
    }
}

void useFiles(const std::string& home) {
    const auto file = home + "/thrown away";
    std::ofstream(file) << "content";
    tell("exists", QFFileManager::fileExistsAtPath(file));
    tell("trashed", QFFileManager::trashFile(file, qf::ShouldAuth::no));
    tell("still exists", QFFileManager::fileExistsAtPath(file));
    const auto moved =
        QFFileManager::moveFileWithResult(home + "/missing", file, qf::ShouldAuth::no);
    tell("why not", moved.error().localizedDescription);
}

void useVerifiedCopies(const std::string& home) {
    const auto source = home + "/recording";
    const std::vector<std::string> copies{home + "/first/copy", home + "/second/copy"};
    std::ofstream(source) << "content";
    static std::atomic<std::uint64_t> progress = 0; // a late report outlives this function
    std::atomic<bool> isDamaged = false;
    const auto delegate = std::make_shared<qf::FileCopyDelegate>();
    delegate->fileCopyBytesWritten = [](std::uint64_t bytes, const auto& /*settings*/) {
        progress = bytes;
    };
    delegate->fileCopyVerificationFailed = [&](const auto& /*settings*/, const auto& /*file*/) {
        isDamaged = true;
    };
    std::string digest;
    delegate->fileCopyFinished = [&](const qf::FileCopySettings& settings) {
        digest = *(*settings)["sourceChecksum"].as<std::string>();
    };
    tell("copied", QFFileManager::copyFileWithProgress(source, copies, qf::VerificationType::sha256,
                                                       delegate, {}, {}));
    tell("progress", std::to_string(progress));
    tell("damaged", isDamaged);
    tell("digest", digest);
    tell("of the copy", QFFileManager::sha256HashForFile(copies.back()).value_or("none"));
    const auto failed = QFFileManager::copyFileWithResult("/missing", copies, {}, nullptr, {}, {});
    tell("why not copied", failed.error.value().localizedDescription);
}

void usePorts() {
    auto& preferences = qf::service<qf::Preferences>();
    preferences.setValue("kept", "preference");
    tell("preference", *preferences.value("kept").as<std::string>());
    tell("stand-in for launchctl", qf::service<qf::ProcessLauncher>().canLaunch("/bin/launchctl"));
    StoppedClock clock;
    const qf::ScopedService<qf::Clock> stopped(clock);
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
    useVerifiedCopies(home);
    usePorts();
    tell("may authorize",
         ::getuid() == 0 ||
             QFAuthorization::sharedController(qf::UserInterface::no).canAuthorize());
    try {
        QFAlert::alertSheetWithMessageText("message", "informative", nullptr);
    } catch (const qf::Exception& exception) {
        tell("alert", exception.name());
    }
    QFLaunchd::stopJob(std::nullopt, qf::Domain::user, qf::LaunchAgent::yes, qf::ShouldAuth::no);
    QFLog::fastAppendLog("last entry");
    return 7;
}

} // namespace

int main() {
    qf::installServices({"com.example.Consumer", "2.5"});
    return qf::consoleMain(run);
}
