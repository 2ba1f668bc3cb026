#include "util/alert/QFAlert.h"

#include "tests/support/UserInterface.h"
#include "tests/util/alert/AlertTexts.h"

#include <atomic>
#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace {

const QFAlert::Text save = "Save";
const QFAlert::Text cancel = "Cancel";
const QFAlert::Text discard = "Discard";

/// One member of the family with the texts, titles and parent that it takes.
struct Member {
    const char* name;
    std::function<int()> ask;
};

void PrintTo(const Member& member, std::ostream* out) {
    *out << member.name;
}

/// A delegate that would answer itself; the members that ignore their delegate must never call it.
class NeverAsked : public qf::Delegate {
public:
    bool respondsTo(const std::string& /*selector*/) const override {
        ADD_FAILURE();
        return true;
    }
    void perform(const std::string& /*selector*/,
                 const std::vector<qf::Value>& /*arguments*/) override {
        ADD_FAILURE();
    }
};

NeverAsked neverAsked;

const Member members[] = {
    {"WithSuppression",
     [] {
         return QFAlert::alertSheetWithMessageText(message, save, cancel, discard, none, nullptr,
                                                   nullptr, none, qf::Block::yes, nullptr, "key");
     }},
    {"WithAlertObject",
     [] {
         return QFAlert::alertSheetWithMessageText(message, save, cancel, discard, none, nullptr,
                                                   nullptr, none, qf::Block::yes, nullptr);
     }},
    {"WithIgnoredDelegate",
     [] {
         return QFAlert::alertSheetWithMessageText(message, save, cancel, discard, none, nullptr,
                                                   &neverAsked, "ignored:", qf::Block::no);
     }},
    {"WithIgnoredBlock",
     [] {
         return QFAlert::alertSheetWithMessageText(message, save, cancel, discard, none, nullptr,
                                                   qf::Block::no);
     }},
    {"Timed",
     [] {
         return QFAlert::timedAlertSheetWithMessageText(message, save, cancel, discard, none,
                                                        nullptr, std::chrono::hours(1));
     }},
};

class FamilyTest : public UserInterface, public ::testing::WithParamInterface<Member> {
protected:
    int answerOnMainThread(const std::string& title) {
        int answer = 7;
        whenShown(message, pressing(title));
        runOnMainThread([&] { answer = GetParam().ask(); });
        return answer;
    }

    int answerOnWorker(const std::string& title) {
        int answer = 7;
        whenShown(message, pressing(title));
        runWhile([&] { answer = GetParam().ask(); });
        return answer;
    }
};

TEST_P(FamilyTest, AnswersOneForTheDefaultButton) {
    EXPECT_EQ(answerOnMainThread("Save"), 1);
}

TEST_P(FamilyTest, AnswersZeroForTheAlternateButton) {
    EXPECT_EQ(answerOnMainThread("Cancel"), 0);
}

TEST_P(FamilyTest, AnswersMinusOneForTheOtherButton) {
    EXPECT_EQ(answerOnMainThread("Discard"), -1);
}

TEST_P(FamilyTest, AnswersAWorkerThread) {
    EXPECT_EQ(answerOnWorker("Cancel"), 0);
}

TEST_P(FamilyTest, LeavesNoAlertOnTheScreen) {
    answerOnMainThread("Save");
    EXPECT_EQ(windowTitled(message), nullptr);
}

INSTANTIATE_TEST_SUITE_P(QFAlert, FamilyTest, ::testing::ValuesIn(members),
                         [](const auto& member) { return std::string(member.param.name); });

class ShortestMemberTest : public UserInterface {};

TEST_F(ShortestMemberTest, ShowsAFreeStandingAlertWithOneButtonAndAnswersOne) {
    whenShown(message, [](QWidget& window) {
        EXPECT_EQ(window.parentWidget(), nullptr);
        EXPECT_EQ(buttonTitles(window), std::vector<std::string>{"OK"});
        EXPECT_EQ(labelTexts(window), (std::vector<std::string>{message, "Explanation"}));
        press(window, "OK");
    });
    int answer = 7;
    runOnMainThread(
        [&] { answer = QFAlert::alertSheetWithMessageText(message, "Explanation", nullptr); });
    EXPECT_EQ(answer, 1);
}

TEST_F(ShortestMemberTest, AnswersAWorkerThread) {
    whenShown(message, pressing("OK"));
    int answer = 7;
    runWhile([&] { answer = QFAlert::alertSheetWithMessageText(message, none, nullptr); });
    EXPECT_EQ(answer, 1);
}

TEST_F(ShortestMemberTest, KeepsTheUserInterfaceGoingWhileTheMainThreadWaits) {
    bool performed = false;
    whenShown(message, [&](QWidget& window) {
        application.performOnMainThread(
            [&] {
                performed = true;
                press(window, "OK");
            },
            qf::Wait::no);
    });
    runOnMainThread([&] { QFAlert::alertSheetWithMessageText(message, none, nullptr); });
    EXPECT_TRUE(performed);
}

TEST_F(ShortestMemberTest, ShowsAlertsOfSeveralThreadsAtOnce) {
    std::atomic<int> sum = 0;
    whenShown("First", [](QWidget&) { whenShown("Second", pressing("OK")); });
    whenShown("Second", [](QWidget&) { whenShown("First", pressing("OK")); });
    runWhile([&] {
        std::thread other(
            [&] { sum += QFAlert::alertSheetWithMessageText("First", none, nullptr); });
        sum += QFAlert::alertSheetWithMessageText("Second", none, nullptr);
        other.join();
    });
    EXPECT_EQ(sum, 2);
}

} // namespace
