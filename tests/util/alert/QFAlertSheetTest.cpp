#include "util/alert/QFAlert.h"

#include "platform/qt/Windows.h"
#include "tests/support/UserInterface.h"
#include "tests/util/alert/AlertTexts.h"

#include <QVBoxLayout>

#include <memory>
#include <optional>

namespace {

class QFAlertSheetTest : public UserInterface {
protected:
    QFAlertSheetTest() {
        widget.setWindowTitle("Parent");
        widget.setLayout(new QVBoxLayout);
    }

    /// Returns what the alert is attached to when it is requested with the parent.
    QWidget* parentOfAlert() {
        QWidget* attached = nullptr;
        whenShown(message, [&](QWidget& window) {
            attached = window.parentWidget();
            press(window, "OK");
        });
        runOnMainThread([&] {
            EXPECT_EQ(QFAlert::alertSheetWithMessageText(message, none, none, none, none, &parent,
                                                         qf::Block::yes),
                      1);
        });
        return attached;
    }

    QWidget widget;
    qf::qt::Window parent{widget, nullptr};
};

TEST_F(QFAlertSheetTest, IsAttachedToItsParent) {
    parent.makeKeyAndOrderFront();
    EXPECT_EQ(parentOfAlert(), &widget);
}

TEST_F(QFAlertSheetTest, BringsItsParentToTheFront) {
    EXPECT_FALSE(parent.isVisible());
    EXPECT_EQ(parentOfAlert(), &widget);
    EXPECT_TRUE(parent.isVisible());
}

TEST_F(QFAlertSheetTest, IsFreeStandingWhenItsParentHasASheetAlready) {
    const auto other = panels.create({.messageText = "Other"});
    other->beginSheet(&parent, [](int) {});
    EXPECT_EQ(parentOfAlert(), nullptr);
    EXPECT_TRUE(other->isVisible());
}

TEST_F(QFAlertSheetTest, ForgetsAParentThatHasASheetAlready) {
    const auto other = panels.create({.messageText = "Other"});
    other->beginSheet(&parent, [](int) {});
    const auto alert = std::make_shared<QFAlert>();
    whenShown(message, pressing("OK"));
    runOnMainThread([&] {
        QFAlert::alertSheetWithMessageText(message, none, none, none, none, &parent, nullptr, none,
                                           qf::Block::yes, alert);
    });
    EXPECT_EQ(alert->parentWindow(), nullptr);
}

TEST_F(QFAlertSheetTest, KeepsItsParentOtherwise) {
    const auto alert = std::make_shared<QFAlert>();
    whenShown(message, pressing("OK"));
    runWhile([&] {
        QFAlert::alertSheetWithMessageText(message, none, none, none, none, &parent, nullptr, none,
                                           qf::Block::yes, alert);
    });
    EXPECT_EQ(alert->parentWindow(), &parent);
}

} // namespace
