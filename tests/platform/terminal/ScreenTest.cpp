#include "platform/terminal/Screen.h"

#include "tests/support/PortDoubles.h"

#include <gtest/gtest.h>

using platform::terminal::Screen;
using platform::terminal::wrapped;

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

} // namespace
