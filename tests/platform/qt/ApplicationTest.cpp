#include "tests/support/UserInterface.h"

#include "platform/foundation/Exception.h"
#include "platform/qt/Windows.h"
#include "tests/platform/linux/process/SleepingThread.h"

#include <QCoreApplication>
#include <QTimer>
#include <QWidget>

#include <unistd.h>

#include <atomic>
#include <future>
#include <memory>
#include <thread>

using namespace std::chrono_literals;
using qf::Wait;
using qf::qt::Application;

namespace {

class ApplicationTest : public UserInterface {};

using ApplicationDeathTest = ApplicationTest;

TEST_F(ApplicationTest, KnowsTheMainThread) {
    EXPECT_TRUE(application.isMainThread());
    std::thread([this] { EXPECT_FALSE(application.isMainThread()); }).join();
}

TEST_F(ApplicationTest, PerformsWaitedForWorkOfTheMainThreadAtOnce) {
    bool performed = false;
    application.performOnMainThread([&] { performed = true; }, Wait::untilDone);
    EXPECT_TRUE(performed);
}

TEST_F(ApplicationTest, PerformsOtherWorkOfTheMainThreadWhenTheLoopComesToIt) {
    bool performed = false;
    runOnMainThread([&] {
        application.performOnMainThread([&] { performed = true; }, Wait::no);
        EXPECT_FALSE(performed);
        while (!performed) {
            application.handleNextEvent(10ms);
        }
    });
    EXPECT_TRUE(performed);
}

TEST_F(ApplicationTest, PerformsWorkOfAnotherThreadOnTheMainThreadBeforeItReturns) {
    const auto mainThread = std::this_thread::get_id();
    runWhile([&] {
        std::thread::id performer;
        application.performOnMainThread([&] { performer = std::this_thread::get_id(); },
                                        Wait::untilDone);
        EXPECT_EQ(performer, mainThread);
    });
}

TEST_F(ApplicationTest, PerformsWorkInTheOrderOfTheCalls) {
    std::string order;
    runWhile([&] {
        application.performOnMainThread([&] { order += 'a'; }, Wait::no);
        application.performOnMainThread([&] { order += 'b'; }, Wait::no);
        application.performOnMainThread([&] { order += 'c'; }, Wait::untilDone);
    });
    EXPECT_EQ(order, "abc");
}

TEST_F(ApplicationTest, PerformsWorkThatWasHandedOverBeforeTheLoopRuns) {
    bool performed = false;
    application.performOnMainThread([&] { performed = true; }, Wait::no);
    runWhile([] {});
    EXPECT_TRUE(performed);
}

TEST_F(ApplicationTest, PerformsWorkWhileOtherWorkPumpsEvents) {
    std::promise<void> pumping;
    bool inner = false;
    runWhile([&] {
        std::thread second([&] {
            pumping.get_future().wait();
            application.performOnMainThread([&] { inner = true; }, Wait::untilDone);
        });
        application.performOnMainThread(
            [&] {
                pumping.set_value();
                while (!inner) {
                    application.handleNextEvent(10ms);
                }
            },
            Wait::untilDone);
        second.join();
    });
    EXPECT_TRUE(inner);
}

TEST_F(ApplicationTest, HandsAnExceptionOfTheWorkToTheWaitingCaller) {
    runWhile([&] {
        try {
            application.performOnMainThread([] { throw qf::Exception("QFName", "reason"); },
                                            Wait::untilDone);
            ADD_FAILURE() << "nothing was thrown";
        } catch (const qf::Exception& exception) {
            EXPECT_EQ(exception.name(), "QFName");
        }
    });
}

TEST_F(ApplicationTest, WaitsForAnEventNoLongerThanTheDeadline) {
    runOnMainThread([&] {
        // Returning at all is the proof: there is no event to wait for.
        application.handleNextEvent(1ms);
        application.handleNextEvent(0ms);
    });
}

TEST_F(ApplicationTest, WaitsForAnEventUntilTheDeadline) {
    /// Notes after how many milliseconds timers fire.
    class TimerWatch : public QObject {
    public:
        std::vector<int> intervals;

        bool eventFilter(QObject* watched, QEvent* event) override {
            if (auto* timer = qobject_cast<QTimer*>(watched);
                timer != nullptr && event->type() == QEvent::Timer) {
                intervals.push_back(timer->interval());
            }
            return false;
        }
    } watch;
    runOnMainThread([&] {
        QCoreApplication::instance()->installEventFilter(&watch);
        while (watch.intervals.empty()) { // other events end the wait, too
            application.handleNextEvent(10ms);
        }
        QCoreApplication::instance()->removeEventFilter(&watch);
    });
    EXPECT_EQ(watch.intervals, std::vector{10});
}

TEST_F(ApplicationTest, DispatchesTheEventThatItWaitsFor) {
    bool dispatched = false;
    runOnMainThread([&] {
        QTimer::singleShot(1, QCoreApplication::instance(), [&] { dispatched = true; });
        while (!dispatched) {
            application.handleNextEvent(1h);
        }
    });
    EXPECT_TRUE(dispatched);
}

TEST_F(ApplicationTest, CallsTheObserversOfTerminationOnceInTheOrderTheyCame) {
    std::string order;
    application.addTerminationObserver([&] { order += 'a'; });
    application.addTerminationObserver([&] { order += 'b'; });
    runOnMainThread([&] {
        application.terminate();
        application.terminate();
    });
    EXPECT_EQ(order, "ab");
}

TEST_F(ApplicationTest, ForgetsAnObserverThatIsRemoved) {
    bool called = false;
    const int observer = application.addTerminationObserver([&] { called = true; });
    application.removeTerminationObserver(observer);
    application.removeTerminationObserver(observer);
    runWhile([] {});
    EXPECT_FALSE(called);
}

TEST_F(ApplicationTest, NumbersItsObserversApart) {
    EXPECT_NE(application.addTerminationObserver([] {}), application.addTerminationObserver([] {}));
}

TEST_F(ApplicationTest, EndsBeforeItsLoopRunsWhenItWasTerminated) {
    application.terminate();
    EXPECT_EQ(application.run(), 0);
}

TEST_F(ApplicationTest, CallsTheObserversWhenTheDesktopEndsTheSession) {
    bool called = false;
    application.addTerminationObserver([&] { called = true; });
    application.performOnMainThread([] { QCoreApplication::quit(); }, Wait::no);
    EXPECT_EQ(application.run(), 0);
    EXPECT_TRUE(called);
}

TEST_F(ApplicationTest, DropsWorkOnceTheLoopHasEnded) {
    runWhile([] {});
    const auto token = std::make_shared<int>();
    application.performOnMainThread([token] { FAIL(); }, Wait::no);
    EXPECT_EQ(token.use_count(), 1);
}

TEST_F(ApplicationTest, KeepsTheCallerWaitingWhoseWorkTerminatedIt) {
    std::promise<long> caller;
    // Detached: it waits forever.
    std::thread([this, &caller] {
        caller.set_value(::gettid());
        application.performOnMainThread([this] { application.terminate(); }, Wait::untilDone);
    }).detach();
    const auto thread = caller.get_future().get();
    EXPECT_EQ(application.run(), 0);
    EXPECT_TRUE(isAsleep(thread)) << "it has ended";
}

TEST_F(ApplicationTest, HasAMainWindowOnlyWhileThatIsOnTheScreen) {
    EXPECT_EQ(application.mainWindow(), nullptr);
    QWidget widget;
    qf::qt::Window window(widget, nullptr);
    application.setWindows({&window});
    EXPECT_EQ(application.mainWindow(), nullptr);
    window.makeKeyAndOrderFront();
    EXPECT_EQ(application.mainWindow(), &window);
    window.orderOut();
    EXPECT_EQ(application.mainWindow(), nullptr);
}

TEST_F(ApplicationTest, HasTheNextWindowOnTheScreenForItsMainOneMeanwhile) {
    QWidget first;
    QWidget second;
    qf::qt::Window main(first, nullptr);
    qf::qt::Window progress(second, nullptr);
    application.setWindows({&main, &progress});
    progress.makeKeyAndOrderFront();
    EXPECT_EQ(application.mainWindow(), &progress);
    main.makeKeyAndOrderFront();
    EXPECT_EQ(application.mainWindow(), &main);
}

TEST_F(ApplicationDeathTest, EndsTheProcessWithStatusZeroOutOfANestedPump) {
    EXPECT_EXIT(
        {
            application.addTerminationObserver([] { std::fputs("observed", stderr); });
            runOnMainThread([&] {
                application.performOnMainThread([&] { application.terminate(); }, Wait::no);
                for (;;) {
                    application.handleNextEvent(10ms);
                }
            });
        },
        ::testing::ExitedWithCode(0), "observed");
}

TEST_F(ApplicationDeathTest, EndsTheProcessWithTheStatusThatWasSetOutOfANestedPump) {
    EXPECT_EXIT(
        {
            application.setExitStatus([] {
                std::fputs("status", stderr);
                return 3;
            });
            runOnMainThread([&] {
                application.performOnMainThread([&] { application.terminate(); }, Wait::no);
                for (;;) {
                    application.handleNextEvent(10ms);
                }
            });
        },
        ::testing::ExitedWithCode(3), "status");
}

TEST_F(ApplicationDeathTest, TakesAnExceptionThatNobodyWaitsForAsUncaught) {
    EXPECT_DEATH(
        {
            application.performOnMainThread([] { throw qf::Exception("QFName", "reason"); },
                                            Wait::no);
            application.run();
        },
        "reason");
}

} // namespace
