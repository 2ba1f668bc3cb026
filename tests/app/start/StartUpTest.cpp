#include "app/start/ApplicationMain.h"

#include "platform/Application.h"
#include "platform/Services.h"
#include "platform/SystemInformation.h"
#include "platform/Windows.h"
#include "platform/foundation/Exception.h"
#include "platform/qt/InstanceLock.h"
#include "tests/support/PortDoubles.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/UserInterface.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <string>

using platform::Application;
using platform::Interface;
using ::testing::AllOf;
using ::testing::ContainsRegex;
using ::testing::ExitedWithCode;
using ::testing::HasSubstr;
using ::testing::ResultOf;
using ::testing::StartsWith;

namespace {

std::ptrdiff_t lineEnds(const std::string& text) {
    return std::ranges::count(text, '\n');
}

/// Matches a single line of the program's own that contains this text.
auto oneLineWith(const std::string& what) {
    return AllOf(StartsWith("kelvane-uninstaller: "), HasSubstr(what), ResultOf(lineEnds, 1));
}

class EmptyInventory : public Inventory {
    std::vector<InventoryRow> take(RemoveShared /*removeShared*/, Sizes /*sizes*/) override {
        return {};
    }
};

class NoVersion : public platform::SystemInformation {
    std::string globallyUniqueString() override { return {}; }
    std::string operatingSystemVersion() override { return {}; }
    std::string hostName() override { return {}; }
    long processorCount() override { return 1; }
    std::uint64_t physicalMemory() override { return 0; }
    std::optional<std::string> executablePath() override { return std::nullopt; }
    std::optional<std::string> bundleVersion() override { return std::nullopt; }
};

/// Every test runs the program's start-up in a process of its own.
class StartUpDeathTest : public ::testing::Test {
protected:
    StartUpDeathTest() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }

    [[noreturn]] static void start(const start::Awake& awake,
                                   const std::string& file = ":/MainMenu.ui") {
        std::string name = "kelvane-uninstaller";
        char* arguments[] = {name.data(), nullptr};
        if (std::freopen("/dev/null", "r", stdin) == nullptr) { // nobody to ask on a terminal
            std::abort();
        }
        EmptyInventory inventory;
        std::exit(start::applicationMain(1, arguments, file, inventory, awake));
    }

    static void expectNoDisplay(const std::string& why) {
        EXPECT_EXIT(start([](Interface&, PlanObserver&) {}), ExitedWithCode(5),
                    oneLineWith("no display: " + why));
    }

    TemporaryDirectory directory;
    /// The process that ends cannot delete its own directory, so it has one inside this process's.
    ScopedEnvironment directoryOfChild{"TMPDIR", directory.path()};
    FakeAccount account;
    platform::ScopedService<platform::UserAccount> accountScope{account};
    NoVersion information;
    platform::ScopedService<platform::SystemInformation> informationScope{information};
    ScopedEnvironment runtime{"XDG_RUNTIME_DIR", directory.path()};
    ScopedEnvironment platform_{"QT_QPA_PLATFORM", "offscreen"};
    ScopedEnvironment display{"DISPLAY", std::nullopt};
    ScopedEnvironment wayland{"WAYLAND_DISPLAY", std::nullopt};
};

void terminateLater() {
    auto& application = platform::service<Application>();
    application.performOnMainThread([&application] { application.terminate(); },
                                    platform::Wait::no);
}

TEST_F(StartUpDeathTest, EndsWithStatusZeroWhenTheApplicationTerminates) {
    EXPECT_EXIT(start([](Interface&, PlanObserver&) { terminateLater(); }), ExitedWithCode(0),
                "^$");
}

TEST_F(StartUpDeathTest, EndsWithStatusZeroWhenItTerminatesWhileItAwakes) {
    EXPECT_EXIT(
        start([](Interface&, PlanObserver&) { platform::service<Application>().terminate(); }),
        ExitedWithCode(0), "^$");
}

TEST_F(StartUpDeathTest, ShowsTheMainWindowOnceTheControllerIsAwake) {
    EXPECT_EXIT(start([](Interface& interface, PlanObserver&) {
                    auto& window = interface.window("windowMain");
                    std::cerr << "awake " << window.isVisible() << '\n';
                    platform::service<Application>().performOnMainThread(
                        [&window] {
                            auto& application = platform::service<Application>();
                            std::cerr << "running " << window.isVisible() << ' '
                                      << (application.mainWindow() == &window) << '\n';
                            application.terminate();
                        },
                        platform::Wait::no);
                }),
                ExitedWithCode(0), "^awake 0\nrunning 1 1\n$");
}

TEST_F(StartUpDeathTest, RunsTheActionsOfTheButtons) {
    EXPECT_EXIT(start([](Interface& interface, PlanObserver&) {
                    interface.setAction("cancel:", [] {
                        std::cerr << "cancelled\n";
                        platform::service<Application>().terminate();
                    });
                    interface.setAction("uninstall:", [] { std::abort(); });
                    platform::service<Application>().performOnMainThread(
                        [] { press(*windowTitled("Uninstall Kelvane"), "&Cancel"); },
                        platform::Wait::no);
                }),
                ExitedWithCode(0), "^cancelled\n$");
}

TEST_F(StartUpDeathTest, SaysThatThereIsNoDisplay) {
    const ScopedEnvironment unset("QT_QPA_PLATFORM", std::nullopt);
    expectNoDisplay("neither DISPLAY nor WAYLAND_DISPLAY is set");
}

TEST_F(StartUpDeathTest, SaysThatTheDisplayCannotBeReached) {
    const ScopedEnvironment unset("QT_QPA_PLATFORM", std::nullopt);
    const ScopedEnvironment unreachable("DISPLAY", ":4095");
    expectNoDisplay("could not connect to display :4095");
}

TEST_F(StartUpDeathTest, SaysThatThePlatformIsUnknown) {
    const ScopedEnvironment unknown("QT_QPA_PLATFORM", "stonetablet");
    expectNoDisplay("Could not find the Qt platform plugin \"stonetablet\"");
}

TEST_F(StartUpDeathTest, SaysThatItIsRunningAlready) {
    const platform::qt::InstanceLock other("kelvane-uninstaller");
    EXPECT_EXIT(start([](Interface&, PlanObserver&) { std::abort(); }), ExitedWithCode(1),
                oneLineWith("already running"));
}

TEST_F(StartUpDeathTest, IsRefusedToTheSuperuserInAnotherAccountsHome) {
    account.userId = 0;
    account.homeOwner = "ann";
    EXPECT_EXIT(start([](Interface&, PlanObserver&) { std::abort(); }), ExitedWithCode(1),
                oneLineWith("the home folder /home/someone belongs to ann: run this as ann, or "
                            "with sudo -H for root's own items"));
}

TEST_F(StartUpDeathTest, IsNotRefusedToAUserWhoseHomeBelongsToAnother) {
    account.homeOwner = "root";
    EXPECT_EXIT(start([](Interface&, PlanObserver&) { terminateLater(); }), ExitedWithCode(0),
                "^$");
}

TEST_F(StartUpDeathTest, NamesTheOutletThatTheControllerMisses) {
    EXPECT_EXIT(
        start([](Interface& interface, PlanObserver&) { interface.checkBox("noSuchCheck"); }),
        ExitedWithCode(1), oneLineWith("noSuchCheck"));
}

TEST_F(StartUpDeathTest, NamesTheActionThatTheControllerMisses) {
    EXPECT_EXIT(
        start([](Interface& interface, PlanObserver&) { interface.setAction("undo:", [] {}); }),
        ExitedWithCode(1), oneLineWith("undo:"));
}

TEST_F(StartUpDeathTest, NamesTheMainWindowWhenThatIsMissing) {
    const auto file = directory.write("empty.ui", "<ui version=\"4.0\"><widget class=\"QWidget\" "
                                                  "name=\"Empty\"/></ui>");
    EXPECT_EXIT(start([](Interface&, PlanObserver&) { std::abort(); }, file), ExitedWithCode(1),
                oneLineWith("windowMain"));
}

TEST_F(StartUpDeathTest, NamesTheInterfaceFileThatItCannotRead) {
    EXPECT_EXIT(start([](Interface&, PlanObserver&) { std::abort(); }, directory / "missing.ui"),
                ExitedWithCode(1), oneLineWith("missing.ui"));
    const auto garbage = directory.write("garbage.ui", "<ui><widget");
    EXPECT_EXIT(start([](Interface&, PlanObserver&) { std::abort(); }, garbage), ExitedWithCode(1),
                oneLineWith("garbage.ui"));
}

TEST_F(StartUpDeathTest, SaysWhyTheControllerDidNotAwake) {
    EXPECT_EXIT(
        start([](Interface&, PlanObserver&) { throw platform::Exception("QFName", "two\nlines"); }),
        ExitedWithCode(1), oneLineWith("two\\x0Alines"));
}

} // namespace
