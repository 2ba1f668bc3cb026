#include "util/alert/QFAlert.h"

#include "platform/Windows.h"
#include "tests/support/PausingClock.h"
#include "tests/support/PumpingApplication.h"
#include "tests/util/alert/AlertTexts.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

using namespace std::chrono_literals;

namespace {

using Events = std::vector<std::string>;

/// An application whose work for the main thread is done at once, on whichever thread asks.
class AlertingApplication : public PumpingApplication {
public:
    using PumpingApplication::PumpingApplication;

    bool callerIsMainThread = true;

    bool isMainThread() override { return callerIsMainThread; }
    void performOnMainThread(std::function<void()> work, qf::Wait /*wait*/) override { work(); }
};

class RecordingWindow : public qf::Window {
public:
    explicit RecordingWindow(Events& events) : events_(events) {}

    bool hasSheet = false;

    void makeKeyAndOrderFront() override { events_.emplace_back("bring the parent to the front"); }
    void orderOut() override { events_.emplace_back("hide the parent"); }
    bool isVisible() override { return true; }
    bool hasAttachedSheet() override { return hasSheet; }

private:
    Events& events_;
};

/// An alert on no screen, which a test answers.
class HeldAlertPanels : public qf::AlertPanels {
public:
    explicit HeldAlertPanels(Events& events) : events_(events) {}

    /// What answers the alert that is shown.
    std::function<void(int)> answer;
    std::function<void()> onHiding = [] {};

    std::unique_ptr<qf::AlertPanel> create(const qf::AlertDescription& /*description*/) override {
        events_.emplace_back("make the alert");
        return std::make_unique<Panel>(*this);
    }

private:
    class Panel : public qf::AlertPanel {
    public:
        explicit Panel(HeldAlertPanels& panels) : panels_(panels) {}
        ~Panel() override { panels_.events_.emplace_back("delete the alert"); }
        Panel(const Panel&) = delete;
        Panel& operator=(const Panel&) = delete;
        Panel(Panel&&) = delete;
        Panel& operator=(Panel&&) = delete;

        void beginSheet(qf::Window* parent, std::function<void(int)> didEnd) override {
            panels_.events_.emplace_back(parent == nullptr ? "show it on its own"
                                                           : "show it on the parent");
            panels_.answer = [didEnd = std::move(didEnd)](int code) { didEnd(code); };
        }
        bool isVisible() override { return true; }
        void orderOut() override {
            panels_.events_.emplace_back("hide the alert");
            panels_.onHiding();
        }

    private:
        HeldAlertPanels& panels_;
    };

    Events& events_;
};

class QFAlertWaitTest : public testing::Test {
protected:
    /// Answers with the alternate button in this pass of the wait.
    void answerInPass(int number) {
        pauses.meanwhile = [this, passes = 0, number]() mutable {
            if (++passes == number) {
                answer(0);
            }
        };
    }

    /// Answers and releases the alert.
    void answer(int code) { std::exchange(panels.answer, nullptr)(code); }

    int ask(const std::shared_ptr<QFAlert>& alert = nullptr) {
        return QFAlert::alertSheetWithMessageText("Message", none, none, none, none, &parent,
                                                  nullptr, none, qf::Block::yes, alert);
    }

    Events events;
    PausingClock pauses;
    AlertingApplication application{pauses};
    HeldAlertPanels panels{events};
    RecordingWindow parent{events};

private:
    qf::ScopedService<qf::Clock> pausesScope_{pauses};
    qf::ScopedService<qf::Application> applicationScope_{application};
    qf::ScopedService<qf::AlertPanels> panelsScope_{panels};
};

TEST_F(QFAlertWaitTest, TakesAnEventWithinAHundredthOfASecondAPassOnTheMainThread) {
    answerInPass(3);
    EXPECT_EQ(ask(), 0);
    EXPECT_EQ(application.deadlines, (std::vector{10ms, 10ms, 10ms}));
    EXPECT_TRUE(pauses.rests.empty());
}

TEST_F(QFAlertWaitTest, SleepsAFifthOfASecondAPassElsewhere) {
    application.callerIsMainThread = false;
    answerInPass(3);
    EXPECT_EQ(ask(), 0);
    EXPECT_EQ(pauses.rests, (std::vector<std::chrono::microseconds>{200ms, 200ms, 200ms}));
    EXPECT_TRUE(application.deadlines.empty());
}

TEST_F(QFAlertWaitTest, BringsTheParentToTheFrontBeforeItShowsTheAlertAndHidesThatBeforeItGoes) {
    answerInPass(1);
    ask();
    EXPECT_EQ(events, (Events{"make the alert", "bring the parent to the front",
                              "show it on the parent", "hide the alert", "delete the alert"}));
}

TEST_F(QFAlertWaitTest, LeavesAParentWhereItIsThatHasASheetAlready) {
    parent.hasSheet = true;
    answerInPass(1);
    ask();
    EXPECT_EQ(events, (Events{"make the alert", "show it on its own", "hide the alert",
                              "delete the alert"}));
}

TEST_F(QFAlertWaitTest, ReadsTheAnswerOnceTheAlertIsClosed) {
    const auto alert = std::make_shared<QFAlert>();
    panels.onHiding = [&] { alert->setReturnCode(5); };
    answerInPass(1);
    EXPECT_EQ(ask(alert), 5);
}

TEST_F(QFAlertWaitTest, ClosesOnce) {
    const auto alert = std::make_shared<QFAlert>();
    answerInPass(1);
    ask(alert);
    events.clear();
    alert->closeAlert();
    EXPECT_TRUE(events.empty());
    EXPECT_EQ(alert->alert(), nullptr);
}

TEST_F(QFAlertWaitTest, ClosesWhatWasNeverShownWithoutHarm) {
    std::make_shared<QFAlert>()->closeAlert();
    EXPECT_TRUE(events.empty());
}

/// Timed alerts; the tests' clock does not advance, the timer's does.
class QFAlertIntervalTest : public QFAlertWaitTest {
protected:
    static int ask(std::chrono::seconds interval) {
        return QFAlert::timedAlertSheetWithMessageText("Message", none, none, none, none, nullptr,
                                                       interval);
    }
};

TEST_F(QFAlertIntervalTest, IsTheTimeUntilTheAnswer) {
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(ask(1s), 1);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, 1s);
    answer(0);
}

TEST_F(QFAlertIntervalTest, IsNoTimeWhenItIsNegative) {
    EXPECT_EQ(ask(-5s), 1);
    answer(0);
}

TEST_F(QFAlertIntervalTest, IsATimeWithoutAnEndWhenItIsTheLongest) {
    answerInPass(100);
    EXPECT_EQ(ask(std::chrono::seconds::max()), 0);
}

/// A clock on which every time is up at once.
class HastyClock : public PausingClock {
    void performAfter(std::chrono::seconds /*delay*/, std::function<void()> operation) override {
        operation();
    }
};

TEST_F(QFAlertIntervalTest, MayBeOverBeforeTheAlertIsShown) {
    HastyClock hasty;
    const qf::ScopedService<qf::Clock> scope(hasty);
    answerInPass(100);
    EXPECT_EQ(ask(1h), 1);
    answer(0);
}

TEST_F(QFAlertIntervalTest, NeedsNoThreadOfItsOwn) {
    const auto threads = [] {
        const std::filesystem::directory_iterator all("/proc/self/task");
        return std::distance(begin(all), end(all));
    };
    EXPECT_EQ(ask(0s), 1); // the timer's thread exists now
    answer(0);
    const auto before = threads();
    for (int count = 0; count < 50; ++count) {
        answerInPass(1);
        EXPECT_EQ(ask(1h), 0);
    }
    EXPECT_EQ(threads(), before);
}

} // namespace
