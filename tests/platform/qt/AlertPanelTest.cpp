#include "platform/AlertPanel.h"

#include "platform/qt/Placement.h"
#include "platform/qt/Windows.h"
#include "tests/support/UserInterface.h"

#include <QApplication>
#include <QCheckBox>
#include <QLabel>
#include <QLayout>
#include <QScreen>
#include <QScrollArea>
#include <QTest>

#include <memory>
#include <optional>
#include <string>
#include <vector>

using qf::AlertDescription;

namespace {

using Titles = std::vector<std::string>;

constexpr const char* title = "Alert";

class AlertPanelTest : public UserInterface {
protected:
    QWidget& show(AlertDescription description, qf::Window* parent = nullptr) {
        if (description.messageText.empty()) {
            description.messageText = title;
        }
        panel = panels.create(description);
        panel->beginSheet(parent, [this](int code) { answers.push_back(code); });
        auto* window = windowTitled(
            QString::fromStdString(description.messageText).simplified().toStdString());
        EXPECT_NE(window, nullptr);
        EXPECT_TRUE(QTest::qWaitForWindowActive(window));
        return *window;
    }

    std::unique_ptr<qf::AlertPanel> panel;
    std::vector<int> answers;
};

const AlertDescription threeButtons = {
    .defaultButtonTitle = "Save", .alternateButtonTitle = "Cancel", .otherButtonTitle = "Discard"};

TEST_F(AlertPanelTest, HasOneButtonOfTheSystemsOwnWhenNoneIsNamed) {
    EXPECT_EQ(buttonTitles(show({})), Titles{"OK"});
}

TEST_F(AlertPanelTest, PutsTheDefaultButtonLast) {
    EXPECT_EQ(buttonTitles(show(threeButtons)), (Titles{"Discard", "Cancel", "Save"}));
}

TEST_F(AlertPanelTest, AnswersWithTheButtonThatIsPressed) {
    press(show(threeButtons), "Save");
    press(show(threeButtons), "Cancel");
    press(show(threeButtons), "Discard");
    EXPECT_EQ(answers, (std::vector<int>{1, 0, -1}));
}

TEST_F(AlertPanelTest, IsGoneOnceItIsAnswered) {
    press(show({}), "OK");
    EXPECT_FALSE(panel->isVisible());
}

TEST_F(AlertPanelTest, IsOffTheScreenBeforeItTellsTheAnswer) {
    bool wasVisible = true;
    panel = panels.create({.messageText = title});
    panel->beginSheet(nullptr, [&](int /*code*/) { wasVisible = panel->isVisible(); });
    press(*windowTitled(title), "OK");
    EXPECT_FALSE(wasVisible);
}

TEST_F(AlertPanelTest, GivesTheFocusToTheDefaultButton) {
    auto& window = show(threeButtons);
    EXPECT_EQ(QApplication::focusWidget(), &button(window, "Save"));
    EXPECT_TRUE(button(window, "Save").isDefault());
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Return);
    EXPECT_EQ(answers, std::vector<int>{1});
}

TEST_F(AlertPanelTest, AnswersReturnWithTheFocusedButton) {
    auto& window = show(threeButtons);
    button(window, "Cancel").setFocus();
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Return);
    EXPECT_EQ(answers, std::vector<int>{0});
}

TEST_F(AlertPanelTest, AnswersEscapeWithTheAlternateButton) {
    QTest::keyClick(&show(threeButtons), Qt::Key_Escape);
    EXPECT_EQ(answers, std::vector<int>{0});
}

TEST_F(AlertPanelTest, AnswersEscapeWithTheOtherButtonWhenThereIsNoAlternate) {
    QTest::keyClick(&show({.otherButtonTitle = "Discard"}), Qt::Key_Escape);
    EXPECT_EQ(answers, std::vector<int>{-1});
}

TEST_F(AlertPanelTest, AnswersEscapeWithTheDefaultButtonWhenItIsAlone) {
    QTest::keyClick(&show({}), Qt::Key_Escape);
    EXPECT_EQ(answers, std::vector<int>{1});
}

TEST_F(AlertPanelTest, AnswersClosingAsEscape) {
    show(threeButtons).close();
    EXPECT_EQ(answers, std::vector<int>{0});
    EXPECT_FALSE(panel->isVisible());
}

TEST_F(AlertPanelTest, AnswersOnce) {
    auto& window = show({});
    press(window, "OK");
    button(window, "OK").click();
    window.close();
    EXPECT_EQ(answers, std::vector<int>{1});
}

TEST_F(AlertPanelTest, AnswersNothingWhenItIsHidden) {
    show({});
    panel->orderOut();
    EXPECT_FALSE(panel->isVisible());
    EXPECT_TRUE(answers.empty());
}

TEST_F(AlertPanelTest, MayBeDeletedByItsOwnAnswer) {
    panel = panels.create({.messageText = title});
    panel->beginSheet(nullptr, [this](int) { panel.reset(); });
    press(*windowTitled(title), "OK");
    EXPECT_EQ(panel, nullptr);
    EXPECT_EQ(windowTitled(title), nullptr);
}

TEST_F(AlertPanelTest, ShowsItsTextsUnchanged) {
    auto& window = show({.messageText = "<b>Bold</b> & %@",
                         .informativeText = "<a href='x'>link</a>\n&amp;",
                         .defaultButtonTitle = "Save & <i>&Quit</i>"});
    EXPECT_EQ(labelTexts(window), (Titles{"<b>Bold</b> & %@", "<a href='x'>link</a>\n&amp;"}));
    for (const auto* label : window.findChildren<QLabel*>()) {
        EXPECT_TRUE(label->text().isEmpty() || label->textFormat() == Qt::PlainText);
    }
    EXPECT_EQ(buttonTitles(window), Titles{"Save && <i>&&Quit</i>"});
}

TEST_F(AlertPanelTest, BeginsItsTextsAtTheEdgeOfTheirRoom) {
    auto& window = show({});
    const auto* texts = window.findChild<QScrollArea*>()->widget();
    const auto* message = texts->findChild<QLabel*>();
    EXPECT_EQ(message->pos(), QPoint(0, 0));
    EXPECT_EQ(message->width(), texts->width());
}

TEST_F(AlertPanelTest, ShowsItsMessageAloneInBoldType) {
    const auto& window = show({.messageText = "Message", .informativeText = "Information"});
    for (const auto* label : window.findChildren<QLabel*>()) {
        EXPECT_EQ(label->font().bold(), label->text() == "Message");
    }
}

TEST_F(AlertPanelTest, IsTitledWithTheMessageOnOneLine) {
    EXPECT_EQ(show({.messageText = "Two\nlines"}).windowTitle(), "Two lines");
}

TEST_F(AlertPanelTest, ShowsNoTextWhereThereIsNone) {
    EXPECT_EQ(labelTexts(show({})), Titles{title});
}

TEST_F(AlertPanelTest, TellsAScreenReaderItsTexts) {
    auto& window = show({.messageText = "Message", .informativeText = "Explanation"});
    EXPECT_EQ(window.accessibleName(), "Message");
    EXPECT_EQ(window.accessibleDescription(), "Explanation");
}

/// Returns whether all of an alert's text is visible, by scrolling if need be, without horizontal
/// overflow.
void expectWhole(const QWidget& window) {
    const auto screen = window.screen()->availableGeometry();
    EXPECT_TRUE(screen.contains(window.geometry()));
    const auto& texts = *window.findChild<QScrollArea*>();
    for (const auto* label : texts.findChildren<QLabel*>()) {
        EXPECT_GE(label->height(), label->heightForWidth(label->width()));
        EXPECT_LE(label->width(), texts.viewport()->width());
    }
}

TEST_F(AlertPanelTest, WrapsLongTexts) {
    auto& window = show({.messageText = std::string(200, 'M'),
                         .informativeText = "/home/" + std::string(300, 'x') + "/y z"});
    expectWhole(window);
    EXPECT_EQ(window.width(), 480);
    EXPECT_EQ(window.findChild<QScrollArea*>()->focusPolicy(), Qt::NoFocus);
}

TEST_F(AlertPanelTest, ScrollsTextsThatAreHigherThanTheScreen) {
    std::string story;
    for (int i = 0; i < 2000; ++i) {
        story += "And then something else happened. ";
    }
    auto& window = show({.informativeText = story});
    expectWhole(window);
    EXPECT_EQ(window.findChild<QScrollArea*>()->focusPolicy(), Qt::StrongFocus);
    EXPECT_EQ(QApplication::focusWidget(), &button(window, "OK"));
}

TEST_F(AlertPanelTest, LeavesRoomForItsButtonsInLargeType) {
    const auto font = QApplication::font();
    auto larger = font;
    larger.setPointSizeF(font.pointSizeF() * 8);
    QApplication::setFont(larger);
    auto& window = show({.messageText = std::string(200, 'M'), .suppressionKey = "Key"});
    EXPECT_LE(window.height(), qf::qt::roomOnScreen(window).height());
    QApplication::setFont(font);
}

TEST_F(AlertPanelTest, ShortensButtonTitlesThatDoNotFit) {
    const std::string longTitle(300, 'W');
    auto& window = show({.defaultButtonTitle = longTitle, .alternateButtonTitle = "Cancel"});
    EXPECT_EQ(window.width(), 480);
    const auto titles = buttonTitles(window);
    ASSERT_EQ(titles.size(), 2U);
    EXPECT_EQ(titles[0], "Cancel");
    EXPECT_LT(titles[1].size(), longTitle.size());
    auto* shortened = window.findChildren<QPushButton*>().last();
    EXPECT_EQ(shortened->accessibleName().toStdString(), longTitle);
}

TEST_F(AlertPanelTest, IsFreeStandingWithoutAParent) {
    auto& window = show({});
    EXPECT_EQ(window.parentWidget(), nullptr);
    EXPECT_EQ(window.windowModality(), Qt::NonModal);
}

class SheetTest : public AlertPanelTest {
protected:
    SheetTest() {
        widget.setWindowTitle("Parent");
        widget.setGeometry(40, 50, 600, 400);
        widget.show();
    }

    QWidget widget;
    qf::qt::Window parent{widget, nullptr};
};

TEST_F(SheetTest, BelongsToItsParent) {
    auto& window = show({}, &parent);
    EXPECT_EQ(window.parentWidget(), &widget);
    EXPECT_EQ(window.windowModality(), Qt::WindowModal);
    EXPECT_LE((window.geometry().center() - widget.geometry().center()).manhattanLength(), 2);
}

TEST_F(SheetTest, IsAnsweredByItsClosingIfItsParentGoes) {
    auto other = std::make_unique<QWidget>();
    qf::qt::Window otherWindow(*other, nullptr);
    other->show();
    show({}, &otherWindow);
    other.reset();
    EXPECT_FALSE(panel->isVisible());
    EXPECT_EQ(answers, std::vector<int>{qf::AlertPanel::defaultReturn});
    panel->orderOut();
}

TEST_F(SheetTest, IsNotAnsweredByItsParentOnceItIsOffTheScreen) {
    auto other = std::make_unique<QWidget>();
    qf::qt::Window otherWindow(*other, nullptr);
    other->show();
    show({}, &otherWindow);
    panel->orderOut();
    other.reset();
    EXPECT_TRUE(answers.empty());
}

class SuppressionTest : public AlertPanelTest {
protected:
    QCheckBox& box() {
        auto* found = show({.suppressionKey = "hide"}).findChild<QCheckBox*>();
        EXPECT_NE(found, nullptr);
        return *found;
    }
};

TEST_F(AlertPanelTest, HasNoCheckBoxWithoutAKey) {
    EXPECT_EQ(show({}).findChild<QCheckBox*>(), nullptr);
}

TEST_F(SuppressionTest, IsUntickedWhenThePreferenceIsNotSet) {
    EXPECT_FALSE(box().isChecked());
    EXPECT_TRUE(preferences.value("hide").isNone());
}

TEST_F(SuppressionTest, ShowsWhatThePreferenceSays) {
    preferences.setValue("hide", true);
    EXPECT_TRUE(box().isChecked());
    preferences.setValue("hide", 1);
    EXPECT_TRUE(box().isChecked());
    preferences.setValue("hide", 0);
    EXPECT_FALSE(box().isChecked());
    preferences.setValue("hide", "no boolean");
    EXPECT_FALSE(box().isChecked());
}

TEST_F(SuppressionTest, WritesThePreferenceAtOnce) {
    auto& checkBox = box();
    QTest::keyClick(&checkBox, Qt::Key_Space);
    EXPECT_EQ(preferences.value("hide"), qf::Value(true));
    QTest::keyClick(&checkBox, Qt::Key_Space);
    EXPECT_EQ(preferences.value("hide"), qf::Value(false));
}

} // namespace
