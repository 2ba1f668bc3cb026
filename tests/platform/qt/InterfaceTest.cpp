#include "platform/qt/Interface.h"

#include "platform/foundation/Exception.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/UserInterface.h"

#include <QCheckBox>
#include <QCloseEvent>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QTest>

#include <optional>
#include <string>

using qf::qt::Interface;
using qf::qt::readInterfaceFile;

namespace {

constexpr const char* twoWindows = R"(<?xml version="1.0" encoding="UTF-8"?>
<ui version="4.0"><class>C</class><widget class="QWidget" name="C">
 <widget class="QWidget" name="first">
  <property name="windowTitle"><string>First</string></property>
  <property name="closeAction" stdset="0"><string>close:</string></property>
  <layout class="QVBoxLayout" name="l">
   <item><widget class="QCheckBox" name="box">
    <property name="checked"><bool>true</bool></property>
    <property name="tristate"><bool>true</bool></property></widget></item>
   <item><widget class="QPushButton" name="button">
    <property name="text"><string>Do</string></property>
    <property name="action" stdset="0"><string>do:</string></property></widget></item>
  </layout>
 </widget>
 <widget class="QWidget" name="second">
  <property name="windowTitle"><string>Second</string></property>
  <layout class="QVBoxLayout" name="m">
   <item><widget class="QProgressBar" name="bar"/></item>
   <item><widget class="QLabel" name="label"/></item>
  </layout>
 </widget>
</widget></ui>)";

class InterfaceTest : public UserInterface {
protected:
    QWidget& shown(const std::string& window, const std::string& title) {
        interface.window(window).makeKeyAndOrderFront();
        return *windowTitled(title);
    }

    TemporaryDirectory directory;
    Interface interface {
        { .name = "test.ui", .text = twoWindows }
    };
};

/// Returns the exception that `operation` throws.
template <class Operation>
qf::Exception exceptionOf(Operation operation) {
    try {
        operation();
    } catch (const qf::Exception& exception) {
        return exception;
    }
    ADD_FAILURE() << "nothing was raised";
    return {"", ""};
}

void expectMissingOutlet(const std::string& name, const std::function<void()>& operation) {
    const auto exception = exceptionOf(operation);
    EXPECT_EQ(exception.name(), "QFOutletMissing");
    EXPECT_NE(exception.reason().find('"' + name + '"'), std::string::npos) << exception.reason();
}

TEST_F(InterfaceTest, NamesAllItsWindowsFromOneOn) {
    auto& first = interface.window("first");
    auto& second = interface.window("second");

    EXPECT_EQ(interface.windowsFrom(second), (std::vector<qf::Window*>{&second, &first}));
}

TEST_F(InterfaceTest, NamesTheOutletThatIsMissing) {
    expectMissingOutlet("third", [this] { interface.window("third"); });
    expectMissingOutlet("third", [this] { interface.checkBox("third"); });
    expectMissingOutlet("third", [this] { interface.progressIndicator("third"); });
}

TEST_F(InterfaceTest, NamesTheOutletThatIsOfAnotherKind) {
    expectMissingOutlet("box", [this] { interface.window("box"); });
    expectMissingOutlet("button", [this] { interface.checkBox("button"); });
    expectMissingOutlet("first", [this] { interface.progressIndicator("first"); });
}

TEST_F(InterfaceTest, NamesTheActionThatNothingIsConnectedWith) {
    const auto exception = exceptionOf([this] { interface.setAction("undo:", [] {}); });
    EXPECT_EQ(exception.name(), "QFActionMissing");
    EXPECT_NE(exception.reason().find("\"undo:\""), std::string::npos);
}

TEST_F(InterfaceTest, NamesTheFileThatIsMissing) {
    const auto exception =
        exceptionOf([] { static_cast<void>(readInterfaceFile(":/missing.ui")); });
    EXPECT_EQ(exception.name(), "QFInterfaceUnreadable");
    EXPECT_NE(exception.reason().find(":/missing.ui"), std::string::npos);
}

TEST_F(InterfaceTest, ReadsAFile) {
    const auto [name, text] = readInterfaceFile(directory.write("test.ui", twoWindows));
    EXPECT_EQ(name, directory / "test.ui");
    EXPECT_EQ(text, twoWindows);
}

TEST_F(InterfaceTest, NamesTheFileThatIsNoInterface) {
    const auto exception = exceptionOf(
        [] { const Interface garbage({.name = "garbage.ui", .text = "no markup at all"}); });
    EXPECT_EQ(exception.name(), "QFInterfaceUnreadable");
    EXPECT_NE(exception.reason().find("garbage.ui"), std::string::npos);
    EXPECT_EQ(exception.reason().find('\n'), std::string::npos);
}

TEST_F(InterfaceTest, ReturnsTheSameObjectForTheSameName) {
    EXPECT_EQ(&interface.window("first"), &interface.window("first"));
    EXPECT_EQ(&interface.checkBox("box"), &interface.checkBox("box"));
    EXPECT_EQ(&interface.progressIndicator("bar"), &interface.progressIndicator("bar"));
}

TEST_F(InterfaceTest, ShowsAndHidesEachWindowByItself) {
    auto& first = interface.window("first");
    EXPECT_FALSE(first.isVisible());
    first.makeKeyAndOrderFront();
    EXPECT_TRUE(first.isVisible());
    EXPECT_FALSE(interface.window("second").isVisible());
    first.orderOut();
    EXPECT_FALSE(first.isVisible());
}

TEST_F(InterfaceTest, ShowsTheNextWindowWhereTheLastOneWas) {
    auto& first = shown("first", "First");
    first.move(17, 23);
    const auto centre = first.geometry().center();
    interface.window("first").orderOut();
    const auto next = shown("second", "Second").geometry().center();
    EXPECT_LE((next - centre).manhattanLength(), 2);
}

TEST_F(InterfaceTest, ShowsAWindowOverTheOneThatIsStillThere) {
    auto& first = shown("first", "First");
    first.move(31, 47);
    const auto next = shown("second", "Second").geometry().center();
    EXPECT_LE((next - first.geometry().center()).manhattanLength(), 2);
}

TEST_F(InterfaceTest, PerformsAnActionWheneverItsButtonIsPressed) {
    int performed = 0;
    interface.setAction("do:", [&] { ++performed; });
    auto& window = shown("first", "First");
    press(window, "Do");
    press(window, "Do");
    EXPECT_EQ(performed, 2);
}

TEST_F(InterfaceTest, PerformsTheLatestConnectionOfAnAction) {
    std::string performed;
    interface.setAction("do:", [&] { performed += "former"; });
    interface.setAction("do:", [&] { performed += "latest"; });
    press(shown("first", "First"), "Do");
    EXPECT_EQ(performed, "latest");
}

TEST_F(InterfaceTest, DoesNothingForAnActionThatIsNotSet) {
    press(shown("first", "First"), "Do");
}

TEST_F(InterfaceTest, PerformsNothingForAButtonWhoseWindowIsHiddenMeanwhile) {
    int performed = 0;
    interface.setAction("do:", [&] { ++performed; });
    auto& pressed = button(shown("first", "First"), "Do");
    pressed.animateClick(); // as its mnemonic does, with a short delay
    interface.window("first").orderOut();
    EXPECT_TRUE(QTest::qWaitFor([&] { return !pressed.isDown(); }, 60000));
    EXPECT_EQ(performed, 0);
}

TEST_F(InterfaceTest, PerformsNothingForInputThatReachesAHiddenWindow) {
    int performed = 0;
    interface.setAction("do:", [&] { ++performed; });
    interface.setAction("close:", [&] { ++performed; });
    auto& window = shown("first", "First");
    interface.window("first").orderOut();
    press(window, "Do");
    QTest::keyClick(&window, Qt::Key_Escape);
    window.close();
    EXPECT_EQ(performed, 0);
}

TEST_F(InterfaceTest, PerformsTheCloseActionInsteadOfClosing) {
    int performed = 0;
    interface.setAction("close:", [&] { ++performed; });
    auto& window = shown("first", "First");
    EXPECT_FALSE(window.close());
    EXPECT_TRUE(window.isVisible());
    EXPECT_EQ(performed, 1);
}

TEST_F(InterfaceTest, PerformsTheCloseActionOnEscapeWhereverTheFocusIs) {
    int performed = 0;
    interface.setAction("close:", [&] { ++performed; });
    auto& window = shown("first", "First");
    QTest::keyClick(&window, Qt::Key_Escape);
    QTest::keyClick(window.findChild<QWidget*>("button"), Qt::Key_Escape);
    QTest::keyClick(window.findChild<QWidget*>("box"), Qt::Key_Escape);
    EXPECT_EQ(performed, 3);
}

TEST_F(InterfaceTest, KeepsAWindowOpenThatHasNoCloseAction) {
    auto& window = shown("second", "Second");
    EXPECT_FALSE(window.close());
    QTest::keyClick(&window, Qt::Key_Escape);
    EXPECT_TRUE(window.isVisible());
    EXPECT_FALSE(window.windowFlags() & Qt::WindowCloseButtonHint);
}

TEST_F(InterfaceTest, ReadsTheStateOfACheckBox) {
    auto& box = interface.checkBox("box");
    EXPECT_EQ(box.state(), qf::CheckBoxState::on);
    auto& widget = *shown("first", "First").findChild<QCheckBox*>("box");
    widget.setCheckState(Qt::Unchecked);
    EXPECT_EQ(box.state(), qf::CheckBoxState::off);
    widget.setCheckState(Qt::PartiallyChecked);
    EXPECT_EQ(box.state(), qf::CheckBoxState::mixed);
    widget.setCheckState(Qt::Checked);
    EXPECT_EQ(box.state(), qf::CheckBoxState::on);
}

TEST_F(InterfaceTest, ReadsTheStateOfACheckBoxFromAnotherThread) {
    auto& box = interface.checkBox("box");
    runWhile([&] { EXPECT_EQ(box.state(), qf::CheckBoxState::on); });
}

TEST_F(InterfaceTest, KeepsTheBarStillUntilItIsStarted) {
    auto& bar = interface.progressIndicator("bar");
    auto& widget = *shown("second", "Second").findChild<QProgressBar*>("bar");
    bar.setUsesThreadedAnimation(true);
    EXPECT_NE(widget.maximum(), widget.minimum());
    EXPECT_EQ(widget.value(), widget.minimum());
    bar.startAnimation();
    EXPECT_EQ(widget.maximum(), widget.minimum());
}

TEST_F(InterfaceTest, MovesTheBarOnceItIsStarted) {
    interface.progressIndicator("bar").startAnimation();
    auto& widget = *shown("second", "Second").findChild<QProgressBar*>("bar");
    const auto before = widget.grab().toImage();
    EXPECT_TRUE(QTest::qWaitFor([&] { return widget.grab().toImage() != before; }, 60000));
}

TEST_F(InterfaceTest, TakesNoLabelsTextForMarkup) {
    interface.label("label").setText("<b>text</b>");
    const auto& label = *shown("second", "Second").findChild<QLabel*>("label");
    EXPECT_EQ(label.textFormat(), Qt::PlainText);
}

TEST_F(InterfaceTest, KnowsWhetherAWindowHasASheet) {
    auto& window = interface.window("first");
    window.makeKeyAndOrderFront();
    EXPECT_FALSE(window.hasAttachedSheet());
    const auto sheet = panels.create({.messageText = "Sheet"});
    sheet->beginSheet(&window, [](int) {});
    EXPECT_TRUE(window.hasAttachedSheet());
    sheet->orderOut();
    EXPECT_FALSE(window.hasAttachedSheet());
}

} // namespace
