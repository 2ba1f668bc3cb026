#include "util/alert/QFAlert.h"

#include "platform/AlertPanel.h"
#include "platform/Services.h"
#include "tests/support/MainLoop.h"
#include "tests/support/TestClock.h"
#include "tests/util/alert/AlertTexts.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <future>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

using qf::AlertDescription;

namespace {

/// Alerts that are shown nowhere and answer by themselves.
class FakeAlertPanels : public qf::AlertPanels {
public:
    std::vector<AlertDescription> descriptions;
    int answer = 1;
    bool visibleOnceAnswered = false;
    int hidden = 0;
    int deletedOnMainThread = 0;
    int deletedElsewhere = 0;

    std::unique_ptr<qf::AlertPanel> create(const AlertDescription& description) override {
        EXPECT_TRUE(qf::service<qf::Application>().isMainThread());
        descriptions.push_back(description);
        return std::make_unique<Panel>(*this);
    }

private:
    class Panel : public qf::AlertPanel {
    public:
        explicit Panel(FakeAlertPanels& panels) : panels_(panels) {}
        ~Panel() override {
            ++(qf::service<qf::Application>().isMainThread() ? panels_.deletedOnMainThread
                                                             : panels_.deletedElsewhere);
        }
        Panel(const Panel&) = delete;
        Panel& operator=(const Panel&) = delete;
        Panel(Panel&&) = delete;
        Panel& operator=(Panel&&) = delete;

        void beginSheet(qf::Window* /*parent*/, std::function<void(int)> didEnd) override {
            didEnd(panels_.answer);
        }
        bool isVisible() override { return panels_.visibleOnceAnswered; }
        void orderOut() override { ++panels_.hidden; }

    private:
        FakeAlertPanels& panels_;
    };
};

class QFAlertRequestTest : public ::testing::Test {
protected:
    QFAlertRequestTest() { TestClock::install(); }
    /// The work that alerts leave to the main thread still needs the services.
    ~QFAlertRequestTest() override { waitForMainThread(); }

    static void runOnMainThread(std::function<void()> work) {
        MainLoop::shared().performOnMainThread(std::move(work), qf::Wait::untilDone);
    }
    static void waitForMainThread() {
        runOnMainThread([] {});
    }

    const AlertDescription& request(const QFAlert::Text& message, const QFAlert::Text& text) {
        runOnMainThread([&] { QFAlert::alertSheetWithMessageText(message, text, nullptr); });
        return fake.descriptions.at(0);
    }

    FakeAlertPanels fake;
    qf::ScopedService<qf::Application> application{MainLoop::shared()};
    qf::ScopedService<qf::AlertPanels> fakeInPlace{fake};
};

TEST_F(QFAlertRequestTest, HandsEveryTextOver) {
    runOnMainThread([&] {
        QFAlert::alertSheetWithMessageText("Message", "Save", "Cancel", "Discard", "Explanation",
                                           nullptr, nullptr, none, qf::Block::yes, nullptr, "key");
    });
    const auto& description = fake.descriptions.at(0);
    EXPECT_EQ(description.messageText, "Message");
    EXPECT_EQ(description.informativeText, "Explanation");
    EXPECT_EQ(description.defaultButtonTitle, "Save");
    EXPECT_EQ(description.alternateButtonTitle, "Cancel");
    EXPECT_EQ(description.otherButtonTitle, "Discard");
    EXPECT_EQ(description.suppressionKey, "key");
}

TEST_F(QFAlertRequestTest, TakesMissingTextsAsEmptyAndLeavesTitlesToThePlatform) {
    const auto& description = request(none, none);
    EXPECT_EQ(description.messageText, "");
    EXPECT_EQ(description.informativeText, "");
    EXPECT_EQ(description.defaultButtonTitle, none);
    EXPECT_EQ(description.alternateButtonTitle, none);
    EXPECT_EQ(description.otherButtonTitle, none);
    EXPECT_EQ(description.suppressionKey, none);
}

TEST_F(QFAlertRequestTest, TakesANullPointerForAMissingText) {
    const char* const nothing = nullptr;
    runOnMainThread([&] {
        QFAlert::alertSheetWithMessageText("Message", "Save", nullptr, nothing, nullptr, nullptr,
                                           nullptr, nullptr, qf::Block::yes, nullptr, nullptr);
    });
    const auto& description = fake.descriptions.at(0);
    EXPECT_EQ(description.informativeText, "");
    EXPECT_EQ(description.defaultButtonTitle, "Save");
    EXPECT_EQ(description.alternateButtonTitle, none);
    EXPECT_EQ(description.otherButtonTitle, none);
}

TEST_F(QFAlertRequestTest, HasNoSuppressionKeyInTheShorterMember) {
    runOnMainThread([&] {
        QFAlert::alertSheetWithMessageText("Message", none, none, none, none, nullptr, nullptr,
                                           none, qf::Block::yes, nullptr);
    });
    EXPECT_EQ(fake.descriptions.at(0).suppressionKey, none);
}

TEST_F(QFAlertRequestTest, TakesTheInformativeTextAsAFormat) {
    EXPECT_EQ(request("50%% %@", "50%% done, 100% sure, %@ and %d").informativeText,
              "50% done, 100% sure, %@ and %d");
}

TEST_F(QFAlertRequestTest, LeavesTheMessageUnchanged) {
    EXPECT_EQ(request("50%% %@", none).messageText, "50%% %@");
}

TEST_F(QFAlertRequestTest, BuildsTheAlertFromADictionary) {
    const auto alert = std::make_shared<QFAlert>();
    runOnMainThread([&] {
        alert->alertSheetWithDictionary(qf::Value::Dictionary{
            {"messageText", "Message"}, {"defaultButtonTitle", "Save"}, {"unknown", "key"}});
    });
    const auto& description = fake.descriptions.at(0);
    EXPECT_EQ(description.messageText, "Message");
    EXPECT_EQ(description.defaultButtonTitle, "Save");
    EXPECT_FALSE(alert->alertEnded()) << "no completion operation was named";
}

TEST_F(QFAlertRequestTest, HidesAnAlertThatIsStillVisible) {
    fake.visibleOnceAnswered = true;
    request("Message", none);
    EXPECT_EQ(fake.hidden, 1);
}

TEST_F(QFAlertRequestTest, LeavesAnAlertAloneThatIsGoneAlready) {
    request("Message", none);
    EXPECT_EQ(fake.hidden, 0);
}

TEST_F(QFAlertRequestTest, LetsGoOfThePlatformsAlertOnTheMainThread) {
    QFAlert::alertSheetWithMessageText("Message", none, nullptr);
    waitForMainThread();
    EXPECT_EQ(fake.deletedOnMainThread, 1);
    EXPECT_EQ(fake.deletedElsewhere, 0);
}

TEST_F(QFAlertRequestTest, LetsGoOfThePlatformsAlertOnTheMainThreadWhoeverIsLast) {
    auto alert = std::make_shared<QFAlert>();
    QFAlert::alertSheetWithMessageText("Message", none, none, none, none, nullptr, nullptr, none,
                                       qf::Block::no, alert);
    EXPECT_NE(alert->alert(), nullptr);
    alert.reset();
    waitForMainThread();
    EXPECT_EQ(fake.deletedOnMainThread, 1);
    EXPECT_EQ(fake.deletedElsewhere, 0);
}

TEST(QFAlertFields, StartEmpty) {
    const QFAlert alert;
    EXPECT_EQ(alert.parentWindow(), nullptr);
    EXPECT_EQ(alert.delegate(), nullptr);
    EXPECT_FALSE(alert.alertEnded());
    EXPECT_EQ(alert.returnCode(), 0);
    EXPECT_EQ(alert.alert(), nullptr);
}

TEST(QFAlertFields, KeepTheAnswerAndTellOfIt) {
    QFAlert alert;
    alert.alertDidEnd(nullptr, -1, qf::Value());
    EXPECT_TRUE(alert.alertEnded());
    EXPECT_EQ(alert.returnCode(), -1);
}

/// Returns how many alerts did not have the answer yet when they told of it.
template <class Answer>
std::ptrdiff_t countHasty(int code, Answer answer) {
    std::vector<QFAlert> alerts(100'000);
    const auto answering =
        std::async(std::launch::async, [&] { std::ranges::for_each(alerts, answer); });
    return std::ranges::count_if(alerts, [code](const QFAlert& alert) {
        while (!alert.alertEnded()) {
        }
        return alert.returnCode() != code;
    });
}

TEST(QFAlertFields, HaveTheAnswerBeforeTheyTellOfIt) {
    EXPECT_EQ(countHasty(-1, [](QFAlert& alert) { alert.alertDidEnd(nullptr, -1, qf::Value()); }),
              0);
}

TEST(QFAlertFields, HaveTheTimersAnswerBeforeTheyTellOfIt) {
    /// A clock on which nobody sleeps.
    class SleeplessClock : public TestClock {
        void sleep(std::chrono::microseconds /*duration*/) override {}
    } clock;
    const qf::ScopedService<qf::Clock> scope(clock);
    EXPECT_EQ(countHasty(1, [](QFAlert& alert) { alert.defaultReturnAfterTimeInterval({}); }), 0);
}

} // namespace
