// A program that logs, for the tests that need one of their own: log_child ROLE FOLDER
// [ARGUMENT...]. Its user-domain Library folder is FOLDER, its log is called "Test".

#include "platform/Services.h"
#include "platform/foundation/Exception.h"
#include "platform/linux/files/LogFiles.h"
#include "platform/linux/system/Console.h"
#include "tests/support/MainThread.h"
#include "tests/support/PortDoubles.h"
#include "tests/support/QueueGate.h"
#include "tests/util/log/LogDoubles.h"
#include "util/log/QFLog.h"

#include <csignal>
#include <cstdlib>
#include <functional>
#include <future>
#include <latch>
#include <map>
#include <stdexcept>
#include <string>
#include <sys/resource.h>
#include <thread>
#include <vector>

namespace {

using Arguments = std::vector<std::string>;

/// Logs, and is killed at once.
int killed(const Arguments& /*arguments*/) {
    QFLog::appendLog("before the end");
    return std::raise(SIGKILL);
}

/// Writes COUNT entries that tell NAME, their number and, so that they differ in length, filling.
int share(const Arguments& arguments) {
    const auto count = std::stoi(arguments.at(1));
    for (int number = 0; number < count; ++number) {
        QFLog::fastAppendLog("%@ %d %@.", arguments.at(0), number,
                             std::string(static_cast<std::size_t>(number * 37 % 300), 'x'));
    }
    QFLog::finishWriting();
    return 0;
}

[[noreturn]] void raise(const std::string& kind) {
    if (kind == "platform") {
        throw platform::Exception("NSRangeException", "index 5 beyond bounds");
    }
    if (kind == "standard") {
        throw std::runtime_error("a standard reason");
    }
    throw 42;
}

int uncaught(const Arguments& arguments) {
    QFLog::fastAppendLog("before");
    const auto& kind = arguments.at(1);
    if (arguments.at(0) == "main") {
        raise(kind);
    }
    if (arguments.at(0) == "thread") {
        std::thread([&kind] { raise(kind); }).join();
    }
    auto& queue = *QFLog::sharedController().writeQueue();
    queue.addOperation([&kind] {
        QFLog::fastAppendLog("behind");
        raise(kind);
    });
    queue.waitUntilAllOperationsAreFinished();
    return 0;
}

/// Ends as an application does, with COUNT operations on the write queue.
int terminate(const Arguments& arguments) {
    FakeApplication application;
    const platform::ScopedService<platform::Application> scoped(application);
    auto& log = QFLog::sharedController();
    QueueGate gate(*log.writeQueue());
    for (int number = 1; number < std::stoi(arguments.at(0)); ++number) {
        QFLog::appendLog("entry %d", number);
    }
    std::latch terminating{1};
    const auto opener = std::async(std::launch::async, [&] {
        terminating.wait();
        while (!mainThreadSleeps()) {
            std::this_thread::yield();
        }
        gate.open();
    });
    terminating.count_down();
    application.terminate();
    return application.removedObserver == FakeApplication::observerNumber ? 0 : 1;
}

/// Logs beyond the size that a file of this process may have.
int limited(const Arguments& arguments) {
    const rlimit limit{std::stoul(arguments.at(0)), std::stoul(arguments.at(0))};
    ::setrlimit(RLIMIT_FSIZE, &limit);
    for (int number = 0; number < 20; ++number) {
        QFLog::appendLog("entry %d", number);
    }
    return 0;
}

/// The machine that the program finds.
struct Machine {
    FakeAccount account;
    FakeSearchPaths searchPaths;
    FakeSystemInformation system;
    FakeClock clock;
    FakePropertyLists preferences;
    platform::native::Console console;
    platform::native::LogFiles files;

    void install() {
        platform::install<platform::UserAccount>(account);
        platform::install<platform::SearchPaths>(searchPaths);
        platform::install<platform::SystemInformation>(system);
        platform::install<platform::Clock>(clock);
        platform::install<platform::PropertyLists>(preferences);
        platform::install<platform::Console>(console);
        platform::install<platform::LogFiles>(files);
    }
};

} // namespace

int main(int argc, char* argv[]) {
    const Arguments given(argv + 1, argv + argc);
    // The log's thread may use it until the process is gone: it is never destroyed.
    static auto& machine = *new Machine;
    machine.searchPaths.lists[{platform::DirectoryKind::library, platform::DomainMask::user}] = {
        given.at(1)};
    machine.install();
    QFLog::sharedController().setAppName("Test");

    const std::map<std::string, std::function<int(const Arguments&)>> roles{
        {"killed", killed},       {"share", share},     {"uncaught", uncaught},
        {"terminate", terminate}, {"limited", limited},
    };
    return roles.at(given.at(0))({given.begin() + 2, given.end()});
}
