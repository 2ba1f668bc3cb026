// What becomes of the log after Cancel: the program itself, with entries queued.

#include "app/AppController.h"
#include "app/MainMenu.h"
#include "app/PlanInventory.h"
#include "app/start/ApplicationMain.h"
#include "platform/Application.h"
#include "platform/Services.h"
#include "platform/StartUp.h"
#include "tests/support/LinkedWindows.h"
#include "tests/support/MainThread.h"
#include "tests/support/PortDoubles.h"
#include "tests/support/QueueGate.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/UserInterface.h"
#include "util/log/QFLog.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <memory>
#include <string>
#include <thread>

using qf::Application;

namespace {

constexpr int cancelled = 4;

/// Every test runs the program in a process of its own.
class TerminationDeathTest : public ::testing::Test {
protected:
    TerminationDeathTest() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }

    /// The program of a user whose Library directory is `library`.
    [[noreturn]] static void run(const std::string& library,
                                 const std::function<void()>& onceAwake) {
        qf::installServices();
        static auto& account = *new FakeAccount;
        static auto& searchPaths = *new FakeSearchPaths;
        searchPaths.lists[{qf::DirectoryKind::library, qf::DomainMask::user}] = {library};
        static LinkedWindows windows;
        qf::install<qf::Modules>(windows);
        qf::install<qf::UserAccount>(account);
        qf::install<qf::SearchPaths>(searchPaths);

        std::string name = "kelvane-uninstaller";
        char* arguments[] = {name.data(), nullptr};
        std::unique_ptr<AppController> controller;
        PlanInventory inventory;
        std::exit(start::applicationMain(1, arguments, mainMenu(), inventory,
                                         [&](qf::Interface& interface, PlanObserver& observer) {
                                             controller = std::make_unique<AppController>(interface,
                                                                                          observer);
                                             onceAwake();
                                         }));
    }

    /// Presses Cancel while the write queue holds so many operations: one that waits, and entries
    /// after it. That one continues once the program waits for it, or once the log has been ended.
    /// Then prints the log's number of entries on standard error.
    void cancelWithOperations(int count) {
        auto& application = qf::service<Application>();
        static std::atomic<bool> terminating{false};
        application.addTerminationObserver([] { terminating = true; });
        static auto& queue = *QFLog::sharedController().writeQueue();
        static QueueGate gate(queue);
        for (int number = 1; number < count; ++number) {
            QFLog::fastAppendLog("entry %d", number);
        }
        static std::jthread opener([] {
            while (!terminating || !mainThreadSleeps()) {
                std::this_thread::yield();
            }
            gate.open();
        });
        application.addTerminationObserver([this] {
            queue.waitUntilAllOperationsAreFinished();
            std::cerr << std::ranges::count(contentOf(log), '\n') << " entries\n";
        });
        application.performOnMainThread(
            [] { press(*windowTitled("Uninstall Kelvane"), "&Cancel"); }, qf::Wait::no);
    }

    [[noreturn]] void cancelProgramWithOperations(int count) {
        run(directory.path(), [this, count] { cancelWithOperations(count); });
    }

    TemporaryDirectory directory;
    /// The process that ends cannot delete its own directory, so it has one inside this process's.
    ScopedEnvironment directoryOfChild{"TMPDIR", directory.path()};
    // The program appends to a log named after its executable, and does not start one.
    const std::string log = directory.write("Logs/Quillfen/app_termination_tests.1.log");
    ScopedEnvironment runtime{"XDG_RUNTIME_DIR", directory.path()};
    ScopedEnvironment platform_{"QT_QPA_PLATFORM", "offscreen"};
};

TEST_F(TerminationDeathTest, WritesWhatIsQueuedWithTenOperations) {
    EXPECT_EXIT(cancelProgramWithOperations(10), ::testing::ExitedWithCode(cancelled),
                "^9 entries\n$");
}

TEST_F(TerminationDeathTest, DropsWhatIsQueuedWithEleven) {
    EXPECT_EXIT(cancelProgramWithOperations(11), ::testing::ExitedWithCode(cancelled),
                "^0 entries\n$");
}

} // namespace
