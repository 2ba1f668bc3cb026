#include "platform/foundation/Text.h"

#include <gtest/gtest.h>

#include <string>

namespace text = qf::text;

TEST(Text, CountsCharactersBeyondTheBasicPlaneAsTwoUtf16Units) {
    EXPECT_EQ(text::utf16Length(""), 0U);
    EXPECT_EQ(text::utf16Length("abc"), 3U);
    EXPECT_EQ(text::utf16Length("\xC3\xA9\xE2\x82\xAC"), 2U);
    EXPECT_EQ(text::utf16Length("\xF0\x9F\x98\x80"), 2U);
}

TEST(Text, CountsEveryByteThatIsNoCharacterAsOne) {
    EXPECT_EQ(text::utf16Length("\xFF\xFE"), 2U);
    EXPECT_EQ(text::utf16Length("\xE2\x82"), 2U);         // cut short
    EXPECT_EQ(text::utf16Length("\xC0\xAF"), 2U);         // overlong
    EXPECT_EQ(text::utf16Length("\xED\xA0\x80"), 3U);     // a surrogate
    EXPECT_EQ(text::utf16Length("\xF4\x90\x80\x80"), 4U); // beyond U+10FFFF
    EXPECT_EQ(text::utf16Length("\xF0\x9F\x98"
                                "a"),
              4U); // broken off by a letter
    EXPECT_EQ(text::utf16Length(std::string_view("\0a", 2)), 2U);
}

TEST(Text, DecodesEveryCharacterThatItEncodes) {
    for (char32_t codePoint = 0; codePoint <= 0x110000; ++codePoint) {
        std::string encoded;
        const bool surrogate = codePoint >= 0xD800 && codePoint <= 0xDFFF;
        const bool isCharacter = codePoint <= 0x10FFFF && !surrogate;
        ASSERT_EQ(text::appendCharacter(encoded, codePoint), isCharacter);
        if (!isCharacter) {
            ASSERT_TRUE(encoded.empty());
            continue;
        }
        const auto decoded = text::firstCharacter(encoded);
        ASSERT_EQ(decoded.codePoint, codePoint);
        ASSERT_EQ(decoded.length, encoded.size());
    }
}

TEST(Text, TrimsWhiteSpaceAndLineEndsAtBothEndsOnly) {
    EXPECT_EQ(text::trimmed(" \t\r\n a \n b \v\f\n"), "a \n b");
    EXPECT_EQ(text::trimmed("  \n"), "");
    EXPECT_EQ(text::trimmed(""), "");
    EXPECT_EQ(text::trimmed("a"), "a");
}

TEST(Text, TrimsTheSpacesAndLineEndsOfUnicode) {
    EXPECT_EQ(text::trimmed("\xC2\xA0\xE2\x80\x83\xC2\x85"
                            "a\xE2\x80\xA8\xE3\x80\x80"),
              "a");
}

TEST(Text, TrimsNothingOffBytesThatAreNoCharacter) {
    EXPECT_EQ(text::trimmed(" \x80\xA0 "), "\x80\xA0");
    EXPECT_EQ(text::trimmed("\xE2\x80"), "\xE2\x80");
    EXPECT_EQ(text::trimmed(std::string_view(" \0 ", 3)), std::string_view("\0", 1));
}

TEST(Text, LowersTheLettersOfAscii) {
    EXPECT_EQ(text::lowercased("AZaz09@["), "azaz09@[");
    EXPECT_EQ(text::lowercased(""), "");
}

TEST(Text, LowersTheLettersOfUnicodeAndLeavesWhatIsNoCharacter) {
    EXPECT_EQ(text::lowercased("\u00C9T\u00C9.\u0416\u03A9"), "\u00E9t\u00E9.\u0436\u03C9");
    EXPECT_EQ(text::lowercased("\U00010400\u20AC\U0001F600"), "\U00010428\u20AC\U0001F600");
    EXPECT_EQ(text::lowercased("A\xC3\xFF\xE2\x82Z"), "a\xC3\xFF\xE2\x82z");
}

TEST(Text, ComparesAPrefixWithoutCase) {
    EXPECT_TRUE(text::hasPrefixIgnoringCase("Install Kelvane 4", "install kelvane "));
    EXPECT_TRUE(text::hasPrefixIgnoringCase("Install", "INSTALL"));
    EXPECT_TRUE(text::hasPrefixIgnoringCase("a", ""));
    EXPECT_FALSE(text::hasPrefixIgnoringCase("Install", "Install "));
    EXPECT_FALSE(text::hasPrefixIgnoringCase("[", "{"));
}

TEST(Text, CutsAfterWholeCharacters) {
    EXPECT_EQ(text::prefix("a\xE2\x82\xAC"
                           "b",
                           2),
              "a\xE2\x82\xAC");
    EXPECT_EQ(text::prefix("ab", 5), "ab");
    EXPECT_EQ(text::prefix("ab", 0), "");
    EXPECT_EQ(text::characterCount("a\xE2\x82\xAC\xFF"), 3U);
}

TEST(Text, PutsValuesIntoTheirPlaces) {
    EXPECT_EQ(text::filled("%2 of %1, %1", {"65", "12"}), "12 of 65, 65");
    EXPECT_EQ(text::filled("%1", {"%1"}), "%1");
}

TEST(Text, LeavesPlacesWithoutAValueAndOtherPercentSigns) {
    EXPECT_EQ(text::filled("%2 %0 %% %a 5%", {"x"}), "%2 %0 %% %a 5%");
    EXPECT_EQ(text::filled("", {}), "");
}

TEST(Text, MakesControlCharactersAndForeignBytesPrintable) {
    EXPECT_EQ(text::printable("caf\xC3\xA9 \xFF\n\x7F"), "caf\xC3\xA9 \\xFF\\x0A\\x7F");
    EXPECT_EQ(text::printable(std::string_view("a\0b", 3)), "a\\x00b");
    EXPECT_EQ(text::printable("\xC2\x9B"), "\\xC2\\x9B");
}

TEST(Text, ShowsTheCharactersThatTurnTheWritingRound) {
    std::string name = "a";
    ASSERT_TRUE(text::appendCharacter(name, 0x202E));
    EXPECT_EQ(text::printable(name + "txt"), "a\\xE2\\x80\\xAEtxt");
}

TEST(Text, MakesForeignBytesValidUtf8AndKeepsAllElse) {
    EXPECT_EQ(text::validUtf8("a\n\t\xFF\xC3\xA9"), "a\n\t\\xFF\xC3\xA9");
    EXPECT_EQ(text::validUtf8("plain\n"), "plain\n");
}
