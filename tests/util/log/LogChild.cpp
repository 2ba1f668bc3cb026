// A program that logs, for tests that need a separate process: log_child ROLE FOLDER [ARGUMENT...].
// Its user-domain Library directory is FOLDER, its log is called "Test".

#include "platform/Services.h"
#include "platform/foundation/Exception.h"
#include "platform/linux/files/LogFiles.h"
#include "platform/linux/posix/FileDescriptor.h"
#include "platform/linux/process/ProcessCopies.h"
#include "platform/linux/system/Console.h"
#include "tests/support/MainThread.h"
#include "tests/support/PortDoubles.h"
#include "tests/support/QueueGate.h"
#include "tests/util/log/LogDoubles.h"
#include "util/log/QFLog.h"

#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <functional>
#include <future>
#include <iostream>
#include <latch>
#include <map>
#include <sched.h>
#include <stdexcept>
#include <string>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using Arguments = std::vector<std::string>;

/// Logs, and is killed at once.
int killed(const Arguments& /*arguments*/) {
    QFLog::appendLog("before the end");
    return std::raise(SIGKILL);
}

/// Writes COUNT entries with NAME, their number and filling, so that they differ in length.
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
        throw qf::Exception("NSRangeException", "index 5 beyond bounds");
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
    const qf::ScopedService<qf::Application> scoped(application);
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

/// Forks while entries wait and others are written; both processes then continue to log. The child
/// is killed if it hangs.
int forked(const Arguments& /*arguments*/) {
    auto& queue = *QFLog::sharedController().writeQueue();
    QFLog::appendLog("written before");
    QFLog::finishWriting();
    QueueGate gate(queue);
    QFLog::fastAppendLog("queued before");
    const pid_t copy = ::fork();
    if (copy == 0) {
        constexpr unsigned patience = 60;
        ::alarm(patience);
        QFLog::appendLog("in the copy");
        QFLog::finishWriting();
        const bool isEmpty =
            QFLog::sharedController().bytesInQueue() == 0 && queue.operationCount() == 0;
        ::_exit(isEmpty ? 0 : 1);
    }
    int status = 0;
    ::waitpid(copy, &status, 0);
    gate.open();
    QFLog::appendLog("in the original");
    return WIFEXITED(status) ? WEXITSTATUS(status) : 1;
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

/// Logs on a disk that becomes full and then has room again, where no other process sees it, and
/// prints what remains counted and what is in the log.
int fullDisk(const Arguments& arguments) {
    const auto& disk = arguments.at(0);
    if (::unshare(CLONE_NEWNS) != 0 ||
        ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        ::mount("none", disk.c_str(), "tmpfs", 0, "size=16k") != 0) {
        return 1;
    }
    const auto log = disk + "/Test.1.log";
    const auto filling = disk + "/filling";
    std::ofstream(log).flush();
    QFLog::appendLog("before");
    std::ofstream(filling) << std::string(16384, 'x');
    QFLog::appendLog(std::string(5000, 'y'));
    QFLog::finishWriting();
    std::filesystem::remove(filling);
    QFLog::appendLog("after");
    QFLog::finishWriting();
    std::cout << QFLog::sharedController().bytesInQueue() << " characters\n"
              << std::ifstream(log).rdbuf();
    return 0;
}

/// Starts a log and writes, with THREADS threads, COUNT long entries each with NAME, the thread and
/// their number. Each entry that is certain to be in a file is recorded in a line of FOLDER/told.
/// The process is killed when the first thread reaches the entry LAST.
int crowd(const Arguments& arguments) {
    const auto& name = arguments.at(0);
    const auto count = std::stoi(arguments.at(2));
    const auto last = std::stoi(arguments.at(3));
    const qf::native::FileDescriptor told(
        ::open(arguments.at(4).c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644));
    QFLog::createNewLog("Test");
    std::vector<std::future<void>> threads;
    for (int thread = 0; thread < std::stoi(arguments.at(1)); ++thread) {
        threads.push_back(std::async(std::launch::async, [&, thread] {
            for (int number = 0; number < count; ++number) {
                const auto text = name + "-" + std::to_string(thread) + "-" +
                                  std::to_string(number) + " " + std::string(900, 'x');
                QFLog::fastAppendLog("%@", text);
                if (thread == 0 && number == last) {
                    std::raise(SIGKILL);
                }
                QFLog::finishWriting();
                const auto line = text + "\n";
                if (::write(told.get(), line.data(), line.size()) < 0) {
                    std::abort();
                }
            }
        }));
    }
    threads.clear();
    return 0;
}

/// Log files that are never deleted, but moved into the directory "deleted".
class KeptLogFiles : public qf::native::LogFiles {
public:
    explicit KeptLogFiles(std::string directory) : directory_(std::move(directory)) {
        std::filesystem::create_directories(directory_);
    }
    qf::Result<void> removeLog(const std::string& path) override {
        auto name = directory_ + "/XXXXXX";
        qf::native::FileDescriptor(::mkstemp(name.data()));
        std::filesystem::rename(path, name);
        return {};
    }

private:
    std::string directory_;
};

/// The machine that the program finds.
struct Machine {
    explicit Machine(const std::string& directory) : files(directory + "/deleted") {}

    FakeAccount account;
    FakeSearchPaths searchPaths;
    FakeSystemInformation system;
    FakeClock clock;
    FakePropertyLists preferences;
    qf::native::Console console;
    KeptLogFiles files;
    qf::native::ProcessCopies copies;

    void install() {
        qf::install<qf::UserAccount>(account);
        qf::install<qf::SearchPaths>(searchPaths);
        qf::install<qf::SystemInformation>(system);
        qf::install<qf::Clock>(clock);
        qf::install<qf::PropertyLists>(preferences);
        qf::install<qf::Console>(console);
        qf::install<qf::LogFiles>(files);
        qf::install<qf::ProcessCopies>(copies);
    }
};

} // namespace

int main(int argc, char* argv[]) {
    const Arguments given(argv + 1, argv + argc);
    // Never destroyed: the log's thread may use it until the process ends.
    static auto& machine = *new Machine(given.at(1));
    machine.searchPaths.lists[{qf::DirectoryKind::library, qf::DomainMask::user}] = {given.at(1)};
    machine.install();
    QFLog::sharedController().setAppName("Test");

    const std::map<std::string, std::function<int(const Arguments&)>> roles{
        {"killed", killed},   {"share", share}, {"uncaught", uncaught}, {"terminate", terminate},
        {"limited", limited}, {"crowd", crowd}, {"forked", forked},     {"fullDisk", fullDisk},
    };
    return roles.at(given.at(0))({given.begin() + 2, given.end()});
}
