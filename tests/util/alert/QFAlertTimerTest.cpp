#include "util/alert/QFAlert.h"

#include "platform/Clock.h"
#include "tests/support/UserInterface.h"
#include "tests/util/alert/AlertTexts.h"

#include <chrono>
#include <latch>
#include <optional>
#include <thread>

using namespace std::chrono_literals;

namespace {

int ask(std::chrono::seconds interval) {
    return QFAlert::timedAlertSheetWithMessageText(message, "Save", "Cancel", none, none, nullptr,
                                                   interval);
}

/// A clock on which an hour lasts until an alert is on the screen, and what is less no time.
class HeldHour : public platform::Clock {
public:
    HeldHour() {
        whenShown(message, [this](QWidget& /*window*/) { shown_.count_down(); });
    }

    platform::Date now() override { return {}; }
    void sleep(std::chrono::microseconds duration) override {
        if (duration >= 1h) {
            shown_.wait();
        } else {
            std::this_thread::yield();
        }
    }

private:
    std::latch shown_{1};
    platform::ScopedService<platform::Clock> scope_{*this};
};

class QFAlertTimerTest : public UserInterface {};

TEST_F(QFAlertTimerTest, AnswersWithTheDefaultButtonWhenTheTimeIsUp) {
    HeldHour hour;
    int answer = 7;
    runOnMainThread([&] { answer = ask(1h); });
    EXPECT_EQ(answer, 1);
    EXPECT_EQ(windowTitled(message), nullptr);
}

TEST_F(QFAlertTimerTest, AnswersAWorkerThreadWhenTheTimeIsUp) {
    HeldHour hour;
    int answer = 7;
    runWhile([&] { answer = ask(1h); });
    EXPECT_EQ(answer, 1);
    EXPECT_EQ(windowTitled(message), nullptr);
}

TEST_F(QFAlertTimerTest, AnswersWithTheButtonThatIsPressedBefore) {
    int answer = 7;
    whenShown(message, pressing("Cancel"));
    runOnMainThread([&] { answer = ask(1h); });
    EXPECT_EQ(answer, 0);
}

TEST_F(QFAlertTimerTest, AnswersAtOnceWithoutAnyTime) {
    runWhile([&] {
        EXPECT_EQ(ask(0s), 1);
        EXPECT_EQ(ask(-5s), 1);
    });
}

TEST_F(QFAlertTimerTest, AnswersWhetherOrNotTheUserHas) {
    QFAlert alert;
    alert.alertDidEnd(nullptr, 0, platform::Value());
    alert.defaultReturnAfterTimeInterval(0s);
    EXPECT_EQ(alert.returnCode(), 1);
    EXPECT_TRUE(alert.alertEnded());
}

} // namespace
