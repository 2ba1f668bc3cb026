#include "util/alert/QFAlert.h"

#include "tests/support/UserInterface.h"
#include "tests/util/alert/AlertTexts.h"

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

using qf::Value;

namespace {

constexpr const char* selector = "answered:code:info:";

/// Knows one operation and remembers its calls.
class RecordingDelegate : public qf::Delegate {
public:
    explicit RecordingDelegate(std::string operation) : operation_(std::move(operation)) {}

    bool respondsTo(const std::string& name) const override { return name == operation_; }
    void perform(const std::string& name, const std::vector<Value>& arguments) override {
        EXPECT_EQ(name, operation_);
        EXPECT_TRUE(qf::service<qf::Application>().isMainThread());
        calls.push_back(arguments);
        if (onCall) {
            onCall();
        }
    }

    std::vector<std::vector<Value>> calls;
    std::function<void()> onCall;

private:
    std::string operation_;
};

/// Removes itself from the alert whenever it is asked for its operations.
class ShyDelegate : public RecordingDelegate {
public:
    using RecordingDelegate::RecordingDelegate;

    bool respondsTo(const std::string& name) const override {
        if (alert != nullptr) {
            alert->setDelegate(nullptr);
        }
        return RecordingDelegate::respondsTo(name);
    }

    std::shared_ptr<QFAlert> alert;
};

class QFAlertDelegateTest : public UserInterface {
protected:
    QFAlertDelegateTest() {
        delegate.onCall = [this] { application.terminate(); };
    }

    static int ask(qf::Delegate* delegate, const QFAlert::Text& operation, qf::Block block,
                   const std::shared_ptr<QFAlert>& alert = nullptr) {
        return QFAlert::alertSheetWithMessageText(message, "Save", "Cancel", none, none, nullptr,
                                                  delegate, operation, block, alert);
    }

    RecordingDelegate delegate{selector};
};

TEST_F(QFAlertDelegateTest, IsToldTheAnswerOfARequestThatDoesNotWait) {
    whenShown(message, pressing("Cancel"));
    int result = 7;
    application.performOnMainThread([&] { result = ask(&delegate, selector, qf::Block::no); },
                                    qf::Wait::untilDone);
    EXPECT_EQ(result, -1);
    EXPECT_NE(windowTitled(message), nullptr);
    EXPECT_TRUE(delegate.calls.empty());
    EXPECT_EQ(application.run(), 0);
    ASSERT_EQ(delegate.calls.size(), 1U);
    ASSERT_EQ(delegate.calls[0].size(), 3U);
    EXPECT_NE(delegate.calls[0][0].as<Value::Object>(), nullptr);
    EXPECT_EQ(delegate.calls[0][1], Value(0));
    EXPECT_TRUE(delegate.calls[0][2].isNone());
}

TEST_F(QFAlertDelegateTest, IsToldTheAnswerOnTheMainThreadWhenAWorkerAsks) {
    whenShown(message, pressing("Save"));
    std::thread worker([&] { EXPECT_EQ(ask(&delegate, selector, qf::Block::no), -1); });
    EXPECT_EQ(application.run(), 0);
    worker.join();
    ASSERT_EQ(delegate.calls.size(), 1U);
    EXPECT_EQ(delegate.calls[0][1], Value(1));
}

TEST_F(QFAlertDelegateTest, IsToldThroughTheDefaultOperationWhenNoneIsNamed) {
    RecordingDelegate withDefault("alertDidEnd:returnCode:contextInfo:");
    withDefault.onCall = [this] { application.terminate(); };
    whenShown(message, pressing("Save"));
    EXPECT_EQ(ask(&withDefault, none, qf::Block::no), -1);
    EXPECT_EQ(application.run(), 0);
    EXPECT_EQ(withDefault.calls.size(), 1U);
}

TEST_F(QFAlertDelegateTest, IsToldEvenWhenItIsTakenFromTheAlertMeanwhile) {
    const auto alert = std::make_shared<QFAlert>();
    ShyDelegate shy(selector);
    shy.onCall = [this] { application.terminate(); };
    ask(&shy, selector, qf::Block::no, alert);
    shy.alert = alert;
    whenShown(message, pressing("Save"));
    EXPECT_EQ(application.run(), 0);
    EXPECT_EQ(shy.calls.size(), 1U);
}

TEST_F(QFAlertDelegateTest, EndsAWaitThroughTheAlertObject) {
    const auto alert = std::make_shared<QFAlert>();
    delegate.onCall = [&] {
        alert->setReturnCode(5);
        alert->setAlertEnded(true);
    };
    whenShown(message, pressing("Save"));
    int answer = 7;
    runWhile([&] { answer = ask(&delegate, selector, qf::Block::yes, alert); });
    EXPECT_EQ(answer, 5);
    EXPECT_EQ(alert->delegate(), &delegate);
}

TEST_F(QFAlertDelegateTest, GetsNoAlertWithoutTheOperation) {
    runOnMainThread([&] { EXPECT_EQ(ask(&delegate, "other:", qf::Block::yes), -1); });
    EXPECT_EQ(
        console.systemLogLines(),
        std::vector<std::string>{"Alert error: delegate does not respond to selector other:"});
    EXPECT_EQ(windowTitled(message), nullptr);
    EXPECT_TRUE(delegate.calls.empty());
}

TEST_F(QFAlertDelegateTest, GetsNoAlertWithoutTheDefaultOperation) {
    runOnMainThread([&] { EXPECT_EQ(ask(&delegate, none, qf::Block::no), -1); });
    EXPECT_EQ(console.systemLogLines(),
              std::vector<std::string>{"Alert error: delegate does not respond to selector "
                                       "alertDidEnd:returnCode:contextInfo:"});
}

TEST_F(QFAlertDelegateTest, IsTheAlertItselfByDefault) {
    runOnMainThread([&] { EXPECT_EQ(ask(nullptr, selector, qf::Block::yes), -1); });
    EXPECT_EQ(console.systemLogLines(),
              std::vector<std::string>{"Alert error: delegate does not respond to selector " +
                                       std::string(selector)});
}

TEST_F(QFAlertDelegateTest, LeavesTheAnswerInTheAlertObject) {
    const auto alert = std::make_shared<QFAlert>();
    alert->setAlertEnded(true);
    whenShown(message, pressing("Cancel"));
    ask(nullptr, none, qf::Block::no, alert);
    EXPECT_FALSE(alert->alertEnded());
    EXPECT_EQ(alert->delegate(), alert.get());
    while (!alert->alertEnded()) {
        application.handleNextEvent(std::chrono::milliseconds(10));
    }
    EXPECT_EQ(alert->returnCode(), 0);
}

TEST_F(QFAlertDelegateTest, ReleasesAnAlertThatHasEnded) {
    std::weak_ptr<QFAlert> released;
    {
        const auto alert = std::make_shared<QFAlert>();
        released = alert;
        ask(&delegate, selector, qf::Block::no, alert);
    }
    EXPECT_FALSE(released.expired()) << "the alert is on the screen";
    whenShown(message, pressing("Save"));
    EXPECT_EQ(application.run(), 0);
    delegate.calls.clear();
    EXPECT_TRUE(released.expired());
}

} // namespace
