#include "util/alert/QFAlert.h"

#include "tests/support/UserInterface.h"
#include "tests/util/alert/AlertTexts.h"

#include <chrono>

using namespace std::chrono_literals;

namespace {

int ask(std::chrono::seconds interval) {
    return QFAlert::timedAlertSheetWithMessageText(message, "Save", "Cancel", none, none, nullptr,
                                                   interval);
}

class QFAlertTimerTest : public UserInterface {};

TEST_F(QFAlertTimerTest, AnswersWithTheDefaultButtonWhenTheTimeIsUp) {
    int answer = 7;
    runOnMainThread([&] { answer = ask(1s); });
    EXPECT_EQ(answer, 1);
    EXPECT_EQ(windowTitled(message), nullptr);
}

TEST_F(QFAlertTimerTest, AnswersAWorkerThreadWhenTheTimeIsUp) {
    int answer = 7;
    runWhile([&] { answer = ask(1s); });
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
    alert.alertDidEnd(nullptr, 0, qf::Value());
    alert.defaultReturnAfterTimeInterval(0s);
    EXPECT_EQ(alert.returnCode(), 1);
    EXPECT_TRUE(alert.alertEnded());
}

} // namespace
