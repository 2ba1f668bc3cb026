#include "util/alert/QFAlert.h"

#include "app/MainMenu.h"
#include "platform/qt/Interface.h"
#include "platform/qt/Windows.h"
#include "tests/support/UserInterface.h"
#include "tests/support/X11Main.h"
#include "tests/util/alert/AlertTexts.h"

#include <QProcess>
#include <QStringList>

#include <chrono>
#include <functional>
#include <optional>
#include <string>

using namespace std::chrono_literals;

namespace {

/// Alerts on an X server, answered with its keyboard and mouse.
class X11Test : public UserInterface {
protected:
    void SetUp() override {
        if (!whyNoXServer().empty()) {
            GTEST_SKIP() << whyNoXServer();
        }
    }

    /// Types the keys once the window with this title has the keyboard focus.
    static void typeOn(const std::string& title, const QStringList& keys) {
        whenActive(title, [keys](QWidget&) { useInput(QStringList("key") + keys); });
    }

    static void whenActive(const std::string& title, const std::function<void(QWidget&)>& action) {
        whenShown(title, [title, action](QWidget& window) {
            if (window.isActiveWindow()) {
                action(window);
            } else {
                whenActive(title, action);
            }
        });
    }

    /// Real input events, from outside the program.
    static void useInput(const QStringList& commands) {
        ASSERT_TRUE(QProcess::startDetached("xdotool", commands));
    }

    static QPoint centre(const QWidget& widget) {
        return widget.mapToGlobal(widget.rect().center());
    }

    static QStringList clicking(const QWidget& widget) {
        const auto place = centre(widget);
        return {"mousemove", QString::number(place.x()), QString::number(place.y()), "click", "1"};
    }

    /// Returns the answer on the main thread when the keys are typed on the alert.
    int answer(const QStringList& keys) {
        int code = 7;
        typeOn("Message", keys);
        runOnMainThread([&] { code = askThree(); });
        return code;
    }

    static int askThree() {
        return QFAlert::alertSheetWithMessageText("Message", "Save", "Cancel", "Discard", none,
                                                  nullptr, qf::Block::yes);
    }
};

TEST_F(X11Test, AnswersReturnWithTheDefaultButton) {
    EXPECT_EQ(answer({"Return"}), 1);
}

TEST_F(X11Test, AnswersEscapeWithTheAlternateButton) {
    EXPECT_EQ(answer({"Escape"}), 0);
}

TEST_F(X11Test, AnswersWithTheButtonThatTheMouseClicks) {
    whenActive("Message", [](QWidget& window) { useInput(clicking(button(window, "Discard"))); });
    int code = 7;
    runOnMainThread([&] { code = askThree(); });
    EXPECT_EQ(code, -1);
}

TEST_F(X11Test, AnswersAWorkerThread) {
    int code = 7;
    typeOn("Message", {"Tab", "Return"});
    runWhile([&] { code = askThree(); });
    EXPECT_EQ(code, -1) << "the button after the last is the first";
}

TEST_F(X11Test, ClosesAnAlertThatNobodyAnswers) {
    int code = 7;
    runOnMainThread([&] {
        code = QFAlert::timedAlertSheetWithMessageText("Message", "Save", "Cancel", none, none,
                                                       nullptr, 1s);
    });
    EXPECT_EQ(code, 1);
    EXPECT_EQ(windowTitled("Message"), nullptr);
}

TEST_F(X11Test, LeadsFromTheMainWindowOverTheProgressToTheAlert) {
    qf::qt::Interface interface(mainMenu());
    auto& mainWindow = interface.window("windowMain");
    auto& progress = interface.window("windowProgress");
    interface.setAction("uninstall:", [&] {
        interface.progressIndicator("progressBar").startAnimation();
        progress.makeKeyAndOrderFront();
        mainWindow.orderOut();
    });
    auto& box = interface.checkBox("removeSharedCheck");
    typeOn("Uninstall Kelvane", {"space", "Tab", "Tab", "Return"});
    whenActive("Uninstalling Kelvane", [&](QWidget& window) {
        EXPECT_EQ(box.state(), qf::CheckBoxState::on);
        EXPECT_FALSE(mainWindow.isVisible());
        EXPECT_FALSE(window.close());
        progress.orderOut();
        typeOn("Uninstall complete", {"Return"});
        EXPECT_EQ(QFAlert::alertSheetWithMessageText(
                      "Uninstall complete", "Items have been placed in your Trash.", nullptr),
                  1);
        application.terminate();
    });
    mainWindow.makeKeyAndOrderFront();
    EXPECT_EQ(application.run(), 0);
}

TEST_F(X11Test, KeepsTheUserFromTheParentOfASheet) {
    qf::qt::Interface interface(mainMenu());
    int uninstalls = 0;
    interface.setAction("uninstall:", [&] { ++uninstalls; });
    auto& mainWindow = interface.window("windowMain");
    mainWindow.makeKeyAndOrderFront();
    auto* parent = windowTitled("Uninstall Kelvane");
    whenActive("Message", [parent](QWidget& alert) {
        auto& uninstall = button(*parent, "&Uninstall");
        EXPECT_FALSE(alert.frameGeometry().contains(centre(uninstall))) << "it cannot be clicked";
        useInput(clicking(uninstall) + clicking(button(alert, "OK")));
    });
    runOnMainThread([&] {
        EXPECT_EQ(QFAlert::alertSheetWithMessageText("Message", none, none, none, none, &mainWindow,
                                                     qf::Block::yes),
                  1);
    });
    EXPECT_EQ(uninstalls, 0);
}

} // namespace
