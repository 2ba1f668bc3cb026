#include "platform/linux/tools/launchctl/UnitText.h"

#include "tests/support/NamedCase.h"

#include <gtest/gtest.h>

#include <string>

namespace qf::native::launchctl {
namespace {

std::string reasonOf(std::string (*operation)(std::string_view), std::string_view text) {
    try {
        return "no error, but " + operation(text);
    } catch (const Unfit& unfit) {
        return unfit.what();
    }
}

TEST(UnitName, KeepsLettersDigitsColonsUnderscoresAndInnerDots) {
    EXPECT_EQ(escapedForUnitName("com.quillfen.Lunevar_2:a"), "com.quillfen.Lunevar_2:a");
}

TEST(UnitName, EscapesAsSystemdEscapeDoes) {
    EXPECT_EQ(escapedForUnitName("com.quill-fen/a b%\\"), R"(com.quill\x2dfen-a\x20b\x25\x5c)");
}

TEST(UnitName, EscapesALeadingDot) {
    EXPECT_EQ(escapedForUnitName(".."), R"(\x2e.)");
    EXPECT_EQ(escapedForUnitName("../../etc/passwd"), R"(\x2e.-..-etc-passwd)");
}

TEST(UnitName, EscapesEachByteOfOtherLetters) {
    EXPECT_EQ(escapedForUnitName("\xC3\xA9"), R"(\xc3\xa9)");
}

TEST(UnitName, IsRefusedWhenEmpty) {
    EXPECT_EQ(reasonOf(escapedForUnitName, ""), "must not be empty");
}

TEST(UnitName, IsRefusedWithControlCharacters) {
    EXPECT_EQ(reasonOf(escapedForUnitName, "a\nb"), "must not hold control characters");
}

TEST(UnitName, IsRefusedWhenNotUtf8) {
    EXPECT_EQ(reasonOf(escapedForUnitName, "a\xFF"), "must be UTF-8 text");
}

TEST(UnitName, MayLeaveJustRoomForTheSuffix) {
    EXPECT_EQ(escapedForUnitName(std::string(247, 'a')).size(), 247U);
    EXPECT_EQ(reasonOf(escapedForUnitName, std::string(248, 'a')),
              "is too long for the name of a unit");
    EXPECT_EQ(reasonOf(escapedForUnitName, std::string(100, ' ')),
              "is too long for the name of a unit");
}

TEST(Specifiers, AreEscapedByDoublingThePercentSign) {
    EXPECT_EQ(escapedSpecifiers("100% $HOME"), "100%% $HOME");
}

TEST(Words, HoldQuotesAndBackslashesEscaped) {
    EXPECT_EQ(quotedWord(R"(a "b" \n 'c')"), R"("a \"b\" \\n 'c'")");
}

TEST(Words, HoldLineEndsAsNumbers) {
    EXPECT_EQ(quotedWord("a\nb\tc\x7F"), R"("a\x0ab\x09c\x7f")");
}

TEST(Words, MayBeEmpty) {
    EXPECT_EQ(quotedWord(""), R"("")");
}

TEST(Words, KeepOtherLetters) {
    EXPECT_EQ(quotedWord("\xC3\xA9"), "\"\xC3\xA9\"");
}

TEST(Words, DoubleThePercentSignAlone) {
    EXPECT_EQ(quotedWord("%h $HOME"), R"("%%h $HOME")");
}

TEST(Words, AreRefusedWhenNotUtf8) {
    EXPECT_EQ(reasonOf(quotedWord, "\xC3"), "must be UTF-8 text");
    EXPECT_EQ(quotedWord("\uFFFD\uFDCF\uFDF0"), "\"\uFFFD\uFDCF\uFDF0\"");
    EXPECT_EQ(reasonOf(quotedWord, std::string_view("a\0b", 3)), "must be UTF-8 text");
}

struct NonCharacter : NamedCase {
    const char* text;
};

class NonCharacters : public testing::TestWithParam<NonCharacter> {};

TEST_P(NonCharacters, AreRefused) {
    EXPECT_EQ(reasonOf(quotedWord, GetParam().text), "must not hold Unicode’s non-characters");
    EXPECT_EQ(reasonOf(escapedForUnitName, GetParam().text),
              "must not hold Unicode’s non-characters");
}

INSTANTIATE_TEST_SUITE_P(All, NonCharacters,
                         testing::Values(NonCharacter{{"FFFE"}, "\uFFFE"},
                                         NonCharacter{{"FFFFBehindALetter"}, "a\uFFFF"},
                                         NonCharacter{{"FDD0"}, "\uFDD0"},
                                         NonCharacter{{"FDEF"}, "\uFDEF"},
                                         NonCharacter{{"1FFFE"}, "\U0001FFFE"},
                                         NonCharacter{{"10FFFF"}, "\U0010FFFF"}),
                         nameOfCase);

TEST(Arguments, DoubleTheDollarSignToo) {
    EXPECT_EQ(quotedArgument("%h ${HOME} $"), R"("%%h $${HOME} $$")");
}

TEST(Arguments, AreNoSeparatorsOfCommands) {
    EXPECT_EQ(quotedArgument(";"), R"(";")");
}

TEST(Programs, KeepTheDollarSignSingle) {
    EXPECT_EQ(programWord("/opt/a $b%"), R"("/opt/a $b%%")");
}

TEST(Programs, MayBeSimpleNames) {
    EXPECT_EQ(programWord("sleep"), R"("sleep")");
}

class ProgramWithAPrefix : public testing::TestWithParam<char> {};

TEST_P(ProgramWithAPrefix, IsRefused) {
    EXPECT_EQ(reasonOf(programWord, GetParam() + std::string("sh")), "must be an absolute path");
}

INSTANTIATE_TEST_SUITE_P(OfSystemds, ProgramWithAPrefix, testing::Values('-', '@', '+', '!', ':'),
                         [](const auto& prefix) {
                             return "Character" + std::to_string(prefix.param);
                         });

TEST(Programs, AreRefusedWhenRelativeOrEmpty) {
    EXPECT_EQ(reasonOf(programWord, "bin/sh"), "must be an absolute path");
    EXPECT_EQ(reasonOf(programWord, ""), "must be an absolute path");
}

TEST(Programs, AreRefusedWhenADirectory) {
    EXPECT_EQ(reasonOf(programWord, "/bin/"), "must name a program, not a folder");
}

class ProgramPath : public testing::TestWithParam<NamedText> {};

TEST_P(ProgramPath, IsRefusedIfSystemdRunsNoProgramWithIt) {
    EXPECT_EQ(reasonOf(programWord, GetParam().value), "must not hold quotes or backslashes");
}

INSTANTIATE_TEST_SUITE_P(All, ProgramPath,
                         testing::Values(NamedText{{"Apostrophe"}, "/a'b"},
                                         NamedText{{"Quote"}, "/a\"b"},
                                         NamedText{{"Backslash"}, "/a\\b"},
                                         NamedText{{"Relative"}, "a'b"}),
                         nameOfCase);

TEST(Programs, AreRefusedWithControlCharacters) {
    EXPECT_EQ(reasonOf(programWord, "/a\nb"), "must not hold control characters");
}

TEST(Programs, AreRefusedWhenNoPathIsThatLong) {
    const auto longest = "/" + std::string(255, 'a');
    EXPECT_EQ(programWord(longest), '"' + longest + '"');
    EXPECT_EQ(reasonOf(programWord, longest + 'a'), "must be a path of a possible length");

    std::string deep;
    while (deep.size() < 4095) {
        deep += "/abcd";
    }
    EXPECT_EQ(programWord(deep), '"' + deep + '"');
    EXPECT_EQ(reasonOf(programWord, deep + 'a'), "must be a path of a possible length");
}

TEST(PlainPaths, DoubleThePercentSignAlone) {
    EXPECT_EQ(plainPath("/a b/\"%h\"/$x\\y"), "/a b/\"%%h\"/$x\\y");
}

TEST(PlainPaths, AreRefusedWhenTheSettingWouldReadAnother) {
    EXPECT_EQ(reasonOf(plainPath, "/a "), "must not end with a space or a backslash");
    EXPECT_EQ(reasonOf(plainPath, "/a\\"), "must not end with a space or a backslash");
    EXPECT_EQ(reasonOf(plainPath, "/a\nUser=root"), "must not hold control characters");
    EXPECT_EQ(reasonOf(plainPath, "/a/../b"), "must be a path without \"..\"");
    EXPECT_EQ(reasonOf(plainPath, "~/a"), "must be an absolute path");
}

} // namespace
} // namespace qf::native::launchctl
