#include "platform/terminal/Interface.h"

#include "app/MainMenu.h"
#include "platform/foundation/Exception.h"
#include "tests/platform/terminal/TerminalOutput.h"
#include "tests/platform/terminal/TerminalTest.h"
#include "tests/support/NamedCase.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <optional>

using qf::terminal::Control;
using qf::terminal::Interface;
using qf::terminal::Manner;
using qf::terminal::windowsIn;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;

namespace {

std::string reasonOf(const std::function<void()>& work) {
    try {
        work();
    } catch (const qf::Exception& exception) {
        return exception.name() + ": " + exception.reason();
    }
    return {};
}

TEST(InterfaceFile, HasTheWindowsWithTheirControlsInOrder) {
    const auto windows = windowsIn(mainMenu());

    ASSERT_EQ(windows.size(), 3U);
    const auto& [name, closeAction, controls] = windows.front();
    EXPECT_EQ(name, "windowMain");
    EXPECT_EQ(closeAction, "cancel:");
    std::vector<std::string> names;
    for (const auto& control : controls) {
        names.push_back(control.name);
    }
    EXPECT_EQ(names,
              (std::vector<std::string>{"mainIcon", "mainTitle", "mainText", "removeSharedCheck",
                                        "removeSharedNote", "putBackButton", "itemsButton",
                                        "cancelButton", "uninstallButton"}));
    EXPECT_EQ(controls[1].text, "Uninstall Kelvane");
    EXPECT_EQ(controls[1].textStyle, "title");
    EXPECT_EQ(controls[3].kind, Control::Kind::checkBox);
    EXPECT_EQ(controls[3].text, "Also remove items shared by all Quillfen products");
    EXPECT_EQ(controls[8].text, "Uninstall");
    EXPECT_EQ(controls[8].action, "uninstall:");
    EXPECT_EQ(windows[1].closeAction, "");
    EXPECT_EQ(windows[1].controls.at(2).kind, Control::Kind::progressBar);
    EXPECT_EQ(windows[1].controls.at(3).name, "progressItem");
    EXPECT_EQ(windows[2].name, "windowPutBack");
}

/// A button's title in an interface file, and without its marks.
struct ButtonTitle : NamedCase {
    const char* marked;
    const char* title;
};

class ButtonOfAnInterfaceFile : public testing::TestWithParam<ButtonTitle> {};

TEST_P(ButtonOfAnInterfaceFile, HasItsTitleWithoutMarks) {
    const std::string begin =
        R"(<ui><widget class="QWidget" name="C"><widget class="QWidget" name="W">
  <widget class="QPushButton" name="B"><property name="text"><string>)";
    const std::string end = "</string></property></widget></widget></widget></ui>";

    const auto windows = windowsIn({.name = "file.ui", .text = begin + GetParam().marked + end});

    EXPECT_EQ(windows.at(0).controls.at(0).text, GetParam().title);
}

INSTANTIATE_TEST_SUITE_P(, ButtonOfAnInterfaceFile,
                         testing::Values(ButtonTitle{{"First"}, "&amp;Close", "Close"},
                                         ButtonTitle{{"Last"}, "Clos&amp;e", "Close"},
                                         ButtonTitle{{"Visible"}, "A &amp;&amp; B", "A & B"},
                                         ButtonTitle{{"WithoutALetter"}, "Close &amp;", "Close &"}),
                         nameOfCase);

class UnreadableInterfaceFile : public testing::TestWithParam<NamedText> {};

TEST_P(UnreadableInterfaceFile, SaysWhy) {
    const std::string& text = GetParam().value;
    EXPECT_THAT(reasonOf([&] { (void)windowsIn({.name = "file.ui", .text = text}); }),
                MatchesRegex("QFInterfaceUnreadable: cannot load the interface file file.ui: .+"));
}

INSTANTIATE_TEST_SUITE_P(, UnreadableInterfaceFile,
                         testing::Values(NamedText{{"Empty"}, ""},
                                         NamedText{{"Cut"}, "<ui><widget"},
                                         NamedText{{"OtherElement"}, "<html/>"},
                                         NamedText{{"NoElement"}, "<?xml version=\"1.0\"?>"},
                                         NamedText{{"NoMarkup"}, "words"}),
                         nameOfCase);

class TerminalInterfaceTest : public TerminalTest {
protected:
    void load(Manner manner = Manner::asks) {
        interface.emplace(mainMenu(), application, dialogue, manner);
        interface->setAction("uninstall:", [this] { done += "uninstall "; });
        interface->setAction("cancel:", [this] { done += "cancel "; });
    }

    std::string show(const std::string& typed) {
        interface->window("windowMain").makeKeyAndOrderFront();
        input.type(typed);
        runUntil([this] { return !done.empty(); });
        return done;
    }

    bool isTicked() {
        return interface->checkBox("removeSharedCheck").state() == qf::CheckBoxState::on;
    }

    std::optional<Interface> interface;
    std::string done;
};

TEST_F(TerminalInterfaceTest, AsksForTheTickAndForTheGoAhead) {
    load();

    EXPECT_EQ(show("y\nyes\n"), "uninstall ");

    EXPECT_TRUE(isTicked());
    EXPECT_THAT(console.printed(),
                HasSubstr("Uninstall Kelvane\n\nRunning Kelvane programs will be closed"));
    EXPECT_THAT(console.printed(),
                HasSubstr("\nAlso remove items shared by all Quillfen products?\nThe software "
                          "updater, the application launcher, the shared resources and the global "
                          "preferences.\n[y/N] "));
    EXPECT_THAT(console.printed(), HasSubstr("Uninstall? [y/N] "));
    EXPECT_TRUE(interface->window("windowMain").isVisible());
}

constexpr const char* oneWindow = R"(<ui><widget class="QWidget" name="C">
 <widget class="QWidget" name="window">
  <property name="closeAction"><string>close:</string></property>
  <widget class="QLabel" name="text">
   <property name="text"><string>Text</string></property></widget>
  <widget class="QCheckBox" name="box">
   <property name="text"><string>Tick</string></property></widget>
  <widget class="QPushButton" name="button">
   <property name="text"><string>Do</string></property>
   <property name="action"><string>do:</string></property></widget>
 </widget>
</widget></ui>)";

class TerminalWindowTest : public TerminalTest {
protected:
    Interface interface {
        {.name = "test.ui", .text = oneWindow}, application, dialogue, Manner::asks
    };
};

TEST_F(TerminalWindowTest, LeavesALineEmptyAfterEachOfItsParts) {
    bool isDone = false;
    interface.setAction("do:", [&] {
        screen.line("Done");
        isDone = true;
    });
    interface.window("window").makeKeyAndOrderFront();
    input.type("y\ny\n");
    runUntil([&] { return isDone; });

    // After each answer comes the line end that is typed on a terminal.
    EXPECT_EQ(console.printed(), "Text\n\nTick?\n[y/N] \n\nDo? [y/N] \n\nDone\n");
}

TEST_F(TerminalWindowTest, ClosesByAnActionThatNoButtonHas) {
    bool isClosed = false;
    interface.setAction("close:", [&] { isClosed = true; });
    interface.window("window").makeKeyAndOrderFront();
    input.end();

    runUntil([&] { return isClosed; });
}

TEST_F(TerminalInterfaceTest, TakesAnEmptyLineForNo) {
    load();

    EXPECT_EQ(show("\n\n"), "cancel ");
    EXPECT_FALSE(isTicked());
}

TEST_F(TerminalInterfaceTest, AsksAgainForWhatIsNeitherYesNorNo) {
    load();

    EXPECT_EQ(show("ja\n 1\nN\nYES \n"), "uninstall ");
    EXPECT_FALSE(isTicked());
}

TEST_F(TerminalInterfaceTest, ClosesTheWindowWhenThereIsNoAnswer) {
    load();
    input.end();
    interface->window("windowMain").makeKeyAndOrderFront();

    runUntil([this] { return !done.empty(); });

    EXPECT_EQ(done, "cancel ");
}

TEST_F(TerminalInterfaceTest, AsksNoMoreAboutABoxThatIsTicked) {
    load();
    interface->tick("removeSharedCheck");

    EXPECT_EQ(show("y\n"), "uninstall ");
    EXPECT_TRUE(isTicked());
    EXPECT_THAT(console.printed(), HasSubstr("preferences.\nYes.\n\nUninstall? [y/N] "));
}

TEST_F(TerminalInterfaceTest, AsksAndSaysNothingWhenItIsSilent) {
    load(Manner::silent);

    EXPECT_EQ(show(""), "uninstall ");
    EXPECT_EQ(console.printed(), "");
    EXPECT_FALSE(isTicked());
}

TEST_F(TerminalInterfaceTest, HasALineForTheProgress) {
    load();
    auto& bar = interface->progressIndicator("progressBar");
    bar.setUsesThreadedAnimation(true);

    bar.startAnimation();
    auto& window = interface->window("windowProgress");
    window.makeKeyAndOrderFront();
    EXPECT_TRUE(window.isVisible());
    window.orderOut();

    EXPECT_FALSE(window.isVisible());
    EXPECT_FALSE(window.hasAttachedSheet());
    EXPECT_THAT(console.printed(), HasSubstr("Moving Kelvane to the Trash…"));
    EXPECT_EQ(done, "");
}

TEST_F(TerminalInterfaceTest, MovesTheBarBackAndForthBesideTheItem) {
    const TerminalOutput terminal;
    terminal.resize(80);
    load();
    auto& bar = interface->progressIndicator("progressBar");
    interface->label("progressItem").setText("Ospenth.app");
    constexpr std::ptrdiff_t frames = 16;

    bar.startAnimation();
    runUntil([this] { return std::ranges::count(console.printed(), ']') == frames; });
    bar.stopAnimation();

    std::string expected;
    for (const int indentation : {0, 1, 2, 3, 4, 5, 6, 7, 6, 5, 4, 3, 2, 1, 0, 1}) {
        const auto left = static_cast<std::size_t>(indentation);
        expected += "\r[" + std::string(left, ' ') + "===" + std::string(7 - left, ' ') +
                    "] Moving Kelvane to the Trash… Ospenth.app";
    }
    EXPECT_THAT(console.printed(), testing::StartsWith(expected + '\r'));
}

TEST_F(TerminalInterfaceTest, NamesWhatIsMissing) {
    load();

    EXPECT_THAT(reasonOf([&] { (void)interface->window("w"); }),
                HasSubstr("QFOutletMissing: the interface file has no outlet \"w\""));
    EXPECT_THAT(reasonOf([&] { (void)interface->checkBox("progressBar"); }),
                HasSubstr("QFOutletMissing"));
    EXPECT_THAT(reasonOf([&] { (void)interface->progressIndicator("p"); }),
                HasSubstr("QFOutletMissing"));
    EXPECT_THAT(reasonOf([&] { interface->setAction("undo:", [] {}); }),
                HasSubstr("QFActionMissing"));
}

} // namespace
