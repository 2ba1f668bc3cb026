#include "app/start/ApplicationMain.h"

#include "app/MainMenu.h"
#include "platform/AlertPanel.h"
#include "platform/Application.h"
#include "platform/InstanceLock.h"
#include "platform/LoginAccounts.h"
#include "platform/Services.h"
#include "platform/SystemInformation.h"
#include "platform/Windows.h"
#include "platform/foundation/Exception.h"
#include "platform/foundation/Thread.h"
#include "tests/support/FileStreamDoubles.h"
#include "tests/support/FileSystemDoubles.h"
#include "tests/support/LinkedWindows.h"
#include "tests/support/MainThread.h"
#include "tests/support/NamedCase.h"
#include "tests/support/NoThreadsLeft.h"
#include "tests/support/PortDoubles.h"
#include "tests/support/ScopedDisposition.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/TestClock.h"
#include "tests/support/UserInterface.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QApplication>
#include <QTimer>

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

using qf::Application;
using qf::Interface;
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

constexpr int complete = 0;
constexpr int failed = 1;
constexpr int leftInPlace = 3;
constexpr int cancelled = 4;

class FixedInventory : public Inventory {
public:
    std::vector<InventoryRow> rows;

    std::vector<InventoryRow> take(RemoveShared /*removeShared*/, Sizes /*sizes*/) override {
        return rows;
    }
};

const PlanRow anyRow{PlanAction::trash, "/x/a", {}};

class NoVersion : public qf::SystemInformation {
    std::string globallyUniqueString() override { return {}; }
    std::string operatingSystemVersion() override { return {}; }
    std::string hostName() override { return {}; }
    long processorCount() override { return 1; }
    std::uint64_t physicalMemory() override { return 0; }
    std::optional<std::string> executablePath() override { return std::nullopt; }
    std::optional<std::string> bundleVersion() override { return std::nullopt; }
};

/// Files whose content can be read once it is written.
class ReadableFileSystem : public DescribedFileSystem {
public:
    explicit ReadableFileSystem(DescribedFileStreams& streams) : streams_(streams) {}

    qf::Result<void> writeAtomically(const std::string& path, std::string_view content) override {
        streams_.files[path].content = content;
        return DescribedFileSystem::writeAtomically(path, content);
    }

private:
    DescribedFileStreams& streams_;
};

/// Every test runs the program's start-up in a process of its own.
class StartUpDeathTest : public ::testing::Test {
protected:
    StartUpDeathTest() {
        GTEST_FLAG_SET(death_test_style, "threadsafe");
        TestClock::install();
    }

    [[noreturn]] void start(const start::Awake& awake, const qf::InterfaceFile& file = mainMenu(),
                            std::vector<std::string> words = {}) {
        words.insert(words.begin(), "kelvane-uninstaller");
        std::vector<char*> arguments;
        std::ranges::transform(words, std::back_inserter(arguments),
                               [](std::string& word) { return word.data(); });
        arguments.push_back(nullptr);
        if (std::freopen("/dev/null", "r", stdin) == nullptr) { // nobody to ask on a terminal
            std::abort();
        }
        std::exit(start::applicationMain(static_cast<int>(words.size()), arguments.data(), file,
                                         inventory, awake));
    }

    void expectNoDisplay(const std::string& why) {
        EXPECT_EXIT(start([](Interface&, PlanObserver&) {}), ExitedWithCode(5),
                    oneLineWith("no display: " + why));
    }

    DefaultEndingSignals endingSignals;
    TemporaryDirectory directory;
    /// The process that ends cannot delete its own directory, so it has one inside this process's.
    ScopedEnvironment directoryOfChild{"TMPDIR", directory.path()};
    FakeAccount account;
    qf::ScopedService<qf::UserAccount> accountScope{account};
    NoVersion information;
    CountingInhibitors inhibitors;
    qf::ScopedService<qf::Inhibitors> inhibitorsScope{inhibitors};
    FixedInventory inventory;
    DescribedFileStreams streams;
    ReadableFileSystem disk{streams};
    qf::ScopedService<qf::FileStreams> streamsScope{streams};
    qf::ScopedService<qf::FileSystem> diskScope{disk};
    qf::ScopedService<qf::SystemInformation> informationScope{information};
    LinkedWindows windows;
    qf::ScopedService<qf::Modules> windowsScope{windows};
    ScopedEnvironment runtime{"XDG_RUNTIME_DIR", directory.path()};
    ScopedEnvironment platform_{"QT_QPA_PLATFORM", "offscreen"};
    ScopedEnvironment display{"DISPLAY", std::nullopt};
    ScopedEnvironment wayland{"WAYLAND_DISPLAY", std::nullopt};
};

/// Waits until another thread has taken a signal that is pending for the process.
void waitUntilTaken(int signal) {
    sigset_t pending{};
    while (::sigpending(&pending) == 0 && ::sigismember(&pending, signal) == 1) {
        std::this_thread::yield();
    }
}

void terminateLater() {
    auto& application = qf::service<Application>();
    application.performOnMainThread([&application] { application.terminate(); }, qf::Wait::no);
}

TEST_F(StartUpDeathTest, IsCancelledWhenTheApplicationTerminatesBeforeTheRun) {
    EXPECT_EXIT(start([](Interface&, PlanObserver&) { terminateLater(); }),
                ExitedWithCode(cancelled), "^$");
}

TEST_F(StartUpDeathTest, IsCancelledWhenItTerminatesWhileItAwakes) {
    EXPECT_EXIT(start([](Interface&, PlanObserver&) { qf::service<Application>().terminate(); }),
                ExitedWithCode(cancelled), "^$");
}

/// Does a run's walk on the main thread once the event loop runs, `duringIt` in the middle, and
/// then terminates the application.
void runLater(
    PlanObserver& observer, const std::function<void()>& duringIt = [] {}) {
    qf::service<Application>().performOnMainThread(
        [&observer, duringIt] {
            observer.rowBegan(anyRow);
            duringIt();
            observer.itemBegan(anyRow.subject);
            observer.rowEnded(anyRow);
            observer.walkEnded();
            std::cerr << "walked\n";
            terminateLater();
        },
        qf::Wait::no);
}

TEST_F(StartUpDeathTest, EndsWithStatusZeroAfterACompleteRun) {
    inventory.rows = {{.action = PlanAction::trash, .path = "/x/a", .state = ItemState::found}};
    EXPECT_EXIT(start([](Interface&, PlanObserver& observer) { runLater(observer); }),
                ExitedWithCode(complete), "^walked\n$");
}

/// Presses a button of the window that comes up last.
void pressWhenShown(const std::string& window, const std::string& button) {
    auto* timer = new QTimer(qApp);
    QObject::connect(timer, &QTimer::timeout, timer, [=] {
        if (auto* shown = windowTitled(window)) {
            timer->stop();
            std::cerr << "shown\n";
            press(*shown, button);
        }
    });
    timer->start(1);
}

TEST_F(StartUpDeathTest, ShowsWhatTheRunLeftInPlace) {
    inventory.rows = {{.action = PlanAction::trash, .path = "/x/a", .state = ItemState::found}};
    disk.files = {"/x/a"};
    EXPECT_EXIT(start([](Interface&, PlanObserver& observer) {
                    pressWhenShown("Items Left in Place", "C&lose");
                    runLater(observer);
                }),
                ExitedWithCode(leftInPlace), ContainsRegex("^walked\n(.*\n)?shown\n$"));
}

TEST_F(StartUpDeathTest, ShowsTheItemsOfARunOnRequest) {
    EXPECT_EXIT(start([](Interface&, PlanObserver&) {
                    pressWhenShown("Uninstall Kelvane", "Show &Items…");
                    pressWhenShown("Items to Remove", "C&lose");
                    static auto& timer = *new QTimer(qApp);
                    QObject::connect(
                        &timer, &QTimer::timeout, &timer, [wasShown = false]() mutable {
                            const bool isShown = windowTitled("Items to Remove") != nullptr;
                            if (wasShown && !isShown) {
                                qf::service<Application>().terminate();
                            }
                            wasShown = wasShown || isShown;
                        });
                    timer.start(0);
                }),
                ExitedWithCode(cancelled), ContainsRegex("^shown\n(.*\n)?shown\n$"));
}

TEST_F(StartUpDeathTest, ShowsTheItemsThoughThereIsNoThreadLeftToFindThem) {
    EXPECT_EXIT(start([](Interface&, PlanObserver&) {
                    static const NoThreadsLeft none;
                    pressWhenShown("Items to Remove", "C&lose");
                    qf::service<Application>().performOnMainThread(
                        [] {
                            press(*windowTitled("Uninstall Kelvane"), "Show &Items…");
                            qf::service<Application>().terminate();
                        },
                        qf::Wait::no);
                }),
                ExitedWithCode(cancelled), ContainsRegex("(^|\n)shown\n$"));
}

TEST_F(StartUpDeathTest, ShowsWhatPuttingBackCameTo) {
    EXPECT_EXIT(start([](Interface&, PlanObserver&) { pressWhenShown("Put Back", "C&lose"); },
                      mainMenu(), {"--put-back", "--window"}),
                ExitedWithCode(failed), ContainsRegex("(^|\n)shown\n$"));
}

TEST_F(StartUpDeathTest, PressesTheButtonOfAnUninstallWithoutAQuestion) {
    RecordingConsole console;
    const qf::ScopedService<qf::Console> consoleScope(console);
    EXPECT_EXIT(start(
                    [](Interface& interface, PlanObserver&) {
                        interface.setAction("uninstall:", [] { std::cerr << "pressed\n"; });
                        terminateLater();
                    },
                    mainMenu(), {"--uninstall"}),
                ExitedWithCode(cancelled), ContainsRegex("^pressed\n"));
}

/// Two accounts; a person interrupts the program when it begins with the first one.
class InterruptedAccounts : public qf::LoginAccounts {
public:
    std::vector<qf::LoginAccount> all() override {
        return {{.userId = 1000, .groupId = 1000, .name = "first", .home = "/x/1", .whyNot = {}},
                {.userId = 1001, .groupId = 1001, .name = "second", .home = "/x/2", .whyNot = {}}};
    }
    qf::ProcessDescription programAs(const qf::LoginAccount& account,
                                     const std::string& /*program*/,
                                     std::vector<std::string> /*arguments*/) override {
        std::cerr << "begins with " << account.name << '\n';
        ::kill(::getpid(), SIGINT);
        waitUntilTaken(SIGINT);
        qf::service<Application>().performOnMainThread([] {}, qf::Wait::untilDone);
        throw qf::Exception("QFTest", "it is not run");
    }
};

TEST_F(StartUpDeathTest, BeginsWithNoOtherAccountWhenItIsInterrupted) {
    RecordingConsole console;
    const qf::ScopedService<qf::Console> consoleScope(console);
    InterruptedAccounts accounts;
    const qf::ScopedService<qf::LoginAccounts> accountsScope(accounts);
    account.userId = 0;
    EXPECT_EXIT(start([](Interface&, PlanObserver&) { std::abort(); }, mainMenu(),
                      {"--uninstall", "--all-users"}),
                ExitedWithCode(failed), "^begins with first\n$");
}

class StartUpSignalDeathTest : public StartUpDeathTest,
                               public testing::WithParamInterface<NamedValue<int>> {};

TEST_P(StartUpSignalDeathTest, CancelsBeforeTheRun) {
    EXPECT_EXIT(start([](Interface&, PlanObserver&) { ::kill(::getpid(), GetParam().value); }),
                ExitedWithCode(cancelled), "^$");
}

INSTANTIATE_TEST_SUITE_P(, StartUpSignalDeathTest,
                         testing::Values(NamedValue<int>{{"Interrupt"}, SIGINT},
                                         NamedValue<int>{{"Terminate"}, SIGTERM},
                                         NamedValue<int>{{"HangUp"}, SIGHUP},
                                         NamedValue<int>{{"Quit"}, SIGQUIT}),
                         nameOfCase);

TEST_F(StartUpDeathTest, IsNotCancelledByASignalThatIsIgnored) {
    const ScopedDisposition ignored(SIGHUP, SIG_IGN);
    EXPECT_EXIT(start([](Interface&, PlanObserver& observer) {
                    ::kill(::getpid(), SIGHUP);
                    waitUntilTaken(SIGHUP);
                    QTimer::singleShot(50, qApp, [&observer] { runLater(observer); });
                }),
                ExitedWithCode(complete), "^walked\n$");
}

TEST_F(StartUpDeathTest, GoesOnToTheEndOfTheRunAfterASignal) {
    EXPECT_EXIT(start([](Interface&, PlanObserver& observer) {
                    qf::service<Application>().performOnMainThread(
                        [&observer] {
                            observer.rowBegan(anyRow);
                            ::kill(::getpid(), SIGTERM);
                            // The event loop turns until the end of the run, and after it no more.
                            QTimer::singleShot(50, qApp, [&observer] {
                                std::cerr << "goes on\n";
                                observer.walkEnded();
                            });
                        },
                        qf::Wait::no);
                }),
                ExitedWithCode(complete), "^goes on\n$");
}

TEST_F(StartUpDeathTest, ShowsNothingOfWhatWasLeftToNobody) {
    inventory.rows = {{.action = PlanAction::trash, .path = "/x/a", .state = ItemState::found}};
    disk.files = {"/x/a"};
    EXPECT_EXIT(start([](Interface&, PlanObserver& observer) {
                    runLater(observer, [] {
                        ::kill(::getpid(), SIGTERM);
                        waitUntilTaken(SIGTERM);
                    });
                }),
                ExitedWithCode(leftInPlace), "^walked\n$");
}

TEST_F(StartUpDeathTest, EndsWithTheRunsStatusWhenASignalComesWhileAnAlertIsUp) {
    inventory.rows = {{.action = PlanAction::trash, .path = "/x/a", .state = ItemState::found}};
    disk.files = {"/x/a"};
    EXPECT_EXIT(start([](Interface&, PlanObserver& observer) {
                    qf::service<Application>().performOnMainThread(
                        [&observer] {
                            observer.rowBegan(anyRow);
                            observer.walkEnded();
                            ::kill(::getpid(), SIGTERM);
                            for (;;) { // as an alert waits for its answer
                                qf::service<Application>().handleNextEvent(
                                    std::chrono::milliseconds(10));
                            }
                        },
                        qf::Wait::no);
                }),
                ExitedWithCode(leftInPlace), "^$");
}

TEST_F(StartUpDeathTest, ShowsTheMainWindowOnceTheControllerIsAwake) {
    EXPECT_EXIT(start([](Interface& interface, PlanObserver&) {
                    auto& window = interface.window("windowMain");
                    std::cerr << "awake " << window.isVisible() << '\n';
                    qf::service<Application>().performOnMainThread(
                        [&window] {
                            auto& application = qf::service<Application>();
                            std::cerr << "running " << window.isVisible() << ' '
                                      << (application.mainWindow() == &window) << '\n';
                            application.terminate();
                        },
                        qf::Wait::no);
                }),
                ExitedWithCode(cancelled), "^awake 0\nrunning 1 1\n$");
}

TEST_F(StartUpDeathTest, RunsTheActionsOfTheButtons) {
    EXPECT_EXIT(start([](Interface& interface, PlanObserver&) {
                    interface.setAction("cancel:", [] {
                        std::cerr << "cancelled\n";
                        qf::service<Application>().terminate();
                    });
                    interface.setAction("uninstall:", [] { std::abort(); });
                    qf::service<Application>().performOnMainThread(
                        [] { press(*windowTitled("Uninstall Kelvane"), "&Cancel"); }, qf::Wait::no);
                }),
                ExitedWithCode(cancelled), "^cancelled\n$");
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

TEST_F(StartUpDeathTest, SaysThatTheWindowsAreMissing) {
    windows.missing = "windows.so: cannot open shared object file";
    expectNoDisplay("windows require kelvane-uninstaller-desktop: windows.so: cannot open");
}

TEST_F(StartUpDeathTest, LoadsNoWindowsUnlessADisplayIsNamed) {
    const ScopedEnvironment unset("QT_QPA_PLATFORM", std::nullopt);
    windows.missing = "loaded in vain";
    expectNoDisplay("neither DISPLAY nor WAYLAND_DISPLAY is set");
}

TEST_F(StartUpDeathTest, SaysThatItIsRunningAlready) {
    const qf::InstanceLock other("kelvane-uninstaller");
    EXPECT_EXIT(start([](Interface&, PlanObserver&) { std::abort(); }), ExitedWithCode(1),
                oneLineWith("already running"));
}

class StartUpWithoutWindowsDeathTest : public StartUpDeathTest,
                                       public testing::WithParamInterface<NamedText> {};

TEST_P(StartUpWithoutWindowsDeathTest, LoadsNoneThoughADisplayIsNamed) {
    const qf::InstanceLock other("kelvane-uninstaller");
    windows.missing = "loaded in vain";
    EXPECT_EXIT(
        start([](Interface&, PlanObserver&) { std::abort(); }, mainMenu(), {GetParam().value}),
        ExitedWithCode(1), oneLineWith("already running"));
}

INSTANTIATE_TEST_SUITE_P(, StartUpWithoutWindowsDeathTest,
                         testing::Values(NamedText{{"Uninstall"}, "--uninstall"},
                                         NamedText{{"Terminal"}, "--terminal"}),
                         nameOfCase);

TEST_F(StartUpDeathTest, SaysThatItsWindowIsOpenAlready) {
    const qf::InstanceLock other("kelvane-uninstaller-window");
    EXPECT_EXIT(start([](Interface&, PlanObserver&) { std::abort(); }), ExitedWithCode(1),
                oneLineWith("already running"));
}

/// Minimizes the window, and tells when it is back.
void minimizeUntilRaised() {
    auto& window = *windowTitled("Uninstall Kelvane");
    window.showMinimized();
    qf::InstanceLock("kelvane-uninstaller-window").touch();
    auto* timer = new QTimer(qApp);
    QObject::connect(timer, &QTimer::timeout, timer, [&window] {
        if (!window.isMinimized()) {
            std::cerr << "raised\n";
            qf::service<Application>().terminate();
        }
    });
    timer->start(1);
}

TEST_F(StartUpDeathTest, BringsItsWindowToTheFrontWhenASecondOneWasToBeOpened) {
    EXPECT_EXIT(
        start([](Interface&, PlanObserver&) { QTimer::singleShot(0, minimizeUntilRaised); }),
        ExitedWithCode(cancelled), ContainsRegex("(^|\n)raised\n$"));
}

TEST_F(StartUpDeathTest, HoldsNoOtherRunUpWhileItsWindowIsIdle) {
    EXPECT_EXIT(start([](Interface&, PlanObserver& observer) {
                    const auto isRunning = [] {
                        return qf::InstanceLock("kelvane-uninstaller").isHeldByAnother();
                    };
                    std::cerr << isRunning() << '\n';
                    runLater(observer, [isRunning] { std::cerr << isRunning() << '\n'; });
                }),
                ExitedWithCode(complete), "^0\n1\nwalked\n$");
}

TEST_F(StartUpDeathTest, HasTheWindowsRunWaitForAnotherRun) {
    EXPECT_EXIT(start([](Interface&, PlanObserver& observer) {
                    static std::optional<qf::InstanceLock> other("kelvane-uninstaller");
                    qf::service<Application>().performOnMainThread(
                        [&observer] {
                            qf::detachNewThread([] {
                                while (!mainThreadSleeps()) {
                                    std::this_thread::yield();
                                }
                                std::cerr << "other ended\n";
                                other.reset();
                            });
                            observer.rowBegan(anyRow);
                            std::cerr << "began\n";
                            observer.walkEnded();
                            terminateLater();
                        },
                        qf::Wait::no);
                }),
                ExitedWithCode(complete), "^other ended\nbegan\n$");
}

/// Begins a run on the main thread, continues it on another thread, and ends the process as Qt does
/// when the display has gone.
void loseDisplayDuringRun(PlanObserver& observer, const std::function<void()>& rest) {
    qf::service<Application>().performOnMainThread(
        [&observer, rest] {
            observer.rowBegan(anyRow);
            qf::detachNewThread([&observer, rest] {
                // Done once the main thread is out of the work that ends the process.
                qf::service<Application>().performOnMainThread([] {}, qf::Wait::untilDone);
                rest();
                std::cerr << "walked\n";
                observer.walkEnded();
            });
            std::exit(1);
        },
        qf::Wait::no);
}

TEST_F(StartUpDeathTest, ContinuesARunWhoseDisplayGoes) {
    EXPECT_EXIT(
        start([](Interface&, PlanObserver& observer) { loseDisplayDuringRun(observer, [] {}); }),
        ExitedWithCode(complete), "^walked\n$");
}

TEST_F(StartUpDeathTest, TellsByItsStatusWhatWasLeftWhenTheDisplayHasGone) {
    inventory.rows = {{.action = PlanAction::trash, .path = "/x/a", .state = ItemState::found}};
    disk.files = {"/x/a"};
    EXPECT_EXIT(
        start([](Interface&, PlanObserver& observer) { loseDisplayDuringRun(observer, [] {}); }),
        ExitedWithCode(leftInPlace), "^walked\n$");
}

TEST_F(StartUpDeathTest, AnswersAlertsWithTheirDefaultButtonWhenTheDisplayHasGone) {
    EXPECT_EXIT(start([](Interface&, PlanObserver& observer) {
                    loseDisplayDuringRun(observer, [] {
                        auto& application = qf::service<Application>();
                        application.performOnMainThread(
                            [] {
                                static auto panel = qf::service<qf::AlertPanels>().create({});
                                panel->beginSheet(nullptr,
                                                  [](int answer) { std::cerr << answer << '\n'; });
                            },
                            qf::Wait::untilDone);
                        application.performOnMainThread([] {}, qf::Wait::untilDone);
                    });
                }),
                ExitedWithCode(complete), "^1\nwalked\n$");
}

TEST_F(StartUpDeathTest, EndsAtOnceWhenTheDisplayGoesBeforeARun) {
    EXPECT_EXIT(start([](Interface&, PlanObserver&) {
                    qf::service<Application>().performOnMainThread([] { std::exit(1); },
                                                                   qf::Wait::no);
                }),
                ExitedWithCode(1), "");
}

TEST_F(StartUpDeathTest, EndsAtOnceWhenTheDisplayGoesWhileAnAlertIsBeingAnswered) {
    EXPECT_EXIT(start([](Interface&, PlanObserver& observer) {
                    auto& application = qf::service<Application>();
                    application.performOnMainThread(
                        [&application, &observer] {
                            observer.rowBegan(anyRow);
                            application.performOnMainThread([] { std::exit(1); }, qf::Wait::no);
                            application.handleNextEvent(std::chrono::minutes(1));
                        },
                        qf::Wait::no);
                }),
                ExitedWithCode(1), "");
}

TEST_F(StartUpDeathTest, IsRefusedToTheSuperuserInAnotherAccountsHome) {
    account.userId = 0;
    account.homeOwner = "ann";
    EXPECT_EXIT(start([](Interface&, PlanObserver&) { std::abort(); }), ExitedWithCode(1),
                oneLineWith("the home folder /home/someone belongs to ann: run this as ann, with "
                            "sudo -H for root's own items, or with --uninstall --all-users"));
}

TEST_F(StartUpDeathTest, IsNotRefusedToAUserWhoseHomeBelongsToAnother) {
    account.homeOwner = "root";
    EXPECT_EXIT(start([](Interface&, PlanObserver&) { terminateLater(); }),
                ExitedWithCode(cancelled), "^$");
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
    const qf::InterfaceFile file{
        "empty.ui", "<ui version=\"4.0\"><widget class=\"QWidget\" name=\"Empty\"/></ui>"};
    EXPECT_EXIT(start([](Interface&, PlanObserver&) { std::abort(); }, file), ExitedWithCode(1),
                oneLineWith("windowMain"));
}

TEST_F(StartUpDeathTest, NamesTheInterfaceFileThatItCannotRead) {
    const qf::InterfaceFile garbage{"garbage.ui", "<ui><widget"};
    EXPECT_EXIT(start([](Interface&, PlanObserver&) { std::abort(); }, garbage), ExitedWithCode(1),
                oneLineWith("garbage.ui"));
}

TEST_F(StartUpDeathTest, SaysWhyTheControllerDidNotAwake) {
    EXPECT_EXIT(
        start([](Interface&, PlanObserver&) { throw qf::Exception("QFName", "two\nlines"); }),
        ExitedWithCode(1), oneLineWith("two\\x0Alines"));
}

} // namespace
