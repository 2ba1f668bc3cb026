#include "platform/terminal/Screen.h"

#include "tests/platform/terminal/TerminalOutput.h"
#include "tests/support/PortDoubles.h"

#include <gtest/gtest.h>
#include <malloc.h>

#include <clocale>
#include <cstddef>
#include <string>

using qf::terminal::Screen;
using qf::terminal::wrapped;

namespace {

TEST(Wrapping, BreaksBetweenWords) {
    EXPECT_EQ(wrapped("Items have been placed in your Trash.", 20),
              "Items have been\nplaced in your\nTrash.");
    EXPECT_EQ(wrapped("12345 7890", 10), "12345 7890");
    EXPECT_EQ(wrapped("12345 78901", 10), "12345\n78901");
}

TEST(Wrapping, KeepsTheIndentation) {
    EXPECT_EQ(wrapped("  one two three", 9), "  one two\n  three");
    EXPECT_EQ(wrapped("a\n    bbb ccc", 7), "a\n    bbb\n    ccc");
}

TEST(Wrapping, LeavesALongWordWhole) {
    EXPECT_EQ(wrapped("a /Library/Preferences/x b", 10), "a\n/Library/Preferences/x\nb");
}

TEST(Wrapping, CountsCharactersAndNotBytes) {
    EXPECT_EQ(wrapped("äöü äöü äöü", 7), "äöü äöü\näöü");
}

TEST(Wrapping, KeepsTheTextsOwnLines) {
    EXPECT_EQ(wrapped("one\n\ntwo three", 20), "one\n\ntwo three");
    EXPECT_EQ(wrapped("", 20), "");
}

TEST(ScreenWords, MakesControlCharactersVisible) {
    RecordingConsole console;
    Screen screen(console, false);

    screen.paragraph("a\x1b[2Jb\nc\rd");
    screen.line("x\ny");

    EXPECT_EQ(console.printed(), "a\\x1B[2Jb\nc\\x0Dd\nx\\x0Ay\n");
}

TEST(ScreenWords, SaysNothingWhenItIsQuiet) {
    RecordingConsole console;
    Screen screen(console, true);

    screen.paragraph("a");
    screen.line("b");
    screen.gap();
    screen.prompt("c");
    screen.setStatus("d");
    screen.clearStatus();

    EXPECT_EQ(console.printed(), "");
}

/// The bytes that this process has got from the C library and not given back; not with a sanitizer,
/// which tells of them itself.
std::size_t bytesInUse() {
    return ::mallinfo2().uordblks;
}

TEST(ScreenWords, CostNothingForGoodInAnotherCharacterSet) {
    qf::terminal::inUsersCharacters(""); // which takes on the user's locale
    const std::string former = std::setlocale(LC_CTYPE, nullptr);
    std::setlocale(LC_CTYPE, "C");
    ASSERT_EQ(qf::terminal::inUsersCharacters("a…"), "a...");
    const auto before = bytesInUse();
    constexpr int texts = 100;
    for (int count = 0; count < texts; ++count) {
        qf::terminal::inUsersCharacters("a…");
    }
    EXPECT_LT(bytesInUse(), before + texts);
    std::setlocale(LC_CTYPE, former.c_str());
}

class ScreenStatus : public testing::Test {
protected:
    TerminalOutput terminal;
    RecordingConsole console;
    Screen screen{console, false};
};

TEST_F(ScreenStatus, IsWrittenOverTheFormer) {
    terminal.resize(20);
    screen.setStatus("longer");
    screen.setStatus("short");
    screen.clearStatus();

    EXPECT_EQ(console.printed(), "\rlonger\rshort \r     \r");
    EXPECT_EQ(terminal.written(), "");
}

TEST_F(ScreenStatus, IsShortenedToALine) {
    terminal.resize(20);
    screen.setStatus(std::string(30, 'x'));

    EXPECT_EQ(console.printed(), "\r" + std::string(19, 'x'));
}

TEST_F(ScreenStatus, IsErasedWholeWhenTheTerminalHasWrappedIt) {
    terminal.resize(80);
    screen.setStatus(std::string(41, 'x'));
    terminal.resize(20);
    screen.setStatus("short");

    EXPECT_EQ(terminal.written(), "\r\x1b[K\x1b[A\r\x1b[K\x1b[A\r\x1b[K");
    EXPECT_EQ(console.printed(), "\r" + std::string(41, 'x') + "\rshort");
}

TEST_F(ScreenStatus, IsErasedWhereItHasExactlyTheWidthOfTheTerminal) {
    terminal.resize(80);
    screen.setStatus(std::string(20, 'x'));
    terminal.resize(20);
    screen.setStatus("short");

    EXPECT_EQ(terminal.written(), "\r\x1b[K");
    EXPECT_EQ(console.printed(), "\r" + std::string(20, 'x') + "\rshort");
}

TEST_F(ScreenStatus, IsErasedBeforeAnEmptyLine) {
    terminal.resize(20);
    screen.setStatus("x");
    screen.gap();

    EXPECT_EQ(console.printed(), "\rx\r \r\n");
}

TEST_F(ScreenStatus, IsErasedWholeBeforeALine) {
    terminal.resize(80);
    screen.setStatus(std::string(40, 'x'));
    terminal.resize(20);
    screen.line("line");

    EXPECT_EQ(terminal.written(), "\r\x1b[K\x1b[A\r\x1b[K");
    EXPECT_EQ(console.printed(), "\r" + std::string(40, 'x') + "line\n");
}

} // namespace
