#include "platform/foundation/Format.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <optional>
#include <string>
#include <vector>

TEST(Format, FillsTextDirectivesInOrder) {
    EXPECT_EQ(qf::format("%@ and %s.", "one", std::string("two")), "one and two.");
    EXPECT_EQ(qf::format("%@%@", std::string_view("a"), std::optional<std::string>("b")), "ab");
}

TEST(Format, ShowsAMissingTextAsNull) {
    EXPECT_EQ(qf::format("%@ %s %@", std::nullopt, std::optional<std::string>(),
                         static_cast<const char*>(nullptr)),
              "(null) (null) (null)");
}

TEST(Format, ShowsAnArgumentOfAnyTypeForTheObjectDirective) {
    EXPECT_EQ(qf::format("%@ %@ %@ %@", -5, 7U, 2.5, true), "-5 7 2.5 1");
    EXPECT_EQ(qf::format("%@", std::numeric_limits<std::uint64_t>::max()), "18446744073709551615");
}

TEST(Format, TurnsADoubledPercentSignIntoOne) {
    EXPECT_EQ(qf::format("100%% %%@ %%%%"), "100% %@ %%");
}

TEST(Format, LeavesADirectiveWithoutAnArgument) {
    EXPECT_EQ(qf::format("%@ %5.2f|%@", "x"), "x %5.2f|%@");
}

TEST(Format, LeavesADirectiveWhoseArgumentIsOfAnotherTypeAndUsesThatArgumentUp) {
    EXPECT_EQ(qf::format("%d %@", "text", "next"), "%d next");
    EXPECT_EQ(qf::format("%s %f %c %x %d", 1, 2, 2.0, "x", 1.5), "%s %f %c %x %d");
    EXPECT_EQ(qf::format("%d", std::nullopt), "%d");
}

TEST(Format, IgnoresSurplusArguments) {
    EXPECT_EQ(qf::format("a", "b", 1), "a");
}

TEST(Format, LeavesWhatIsNoDirective) {
    EXPECT_EQ(qf::format("%n %*d %*s %p %y %é % %", 1, "a"), "%n %*d %*s %p %y %é % %");
    EXPECT_EQ(qf::format("%"), "%");
    EXPECT_EQ(qf::format("%-"), "%-");
    EXPECT_EQ(qf::format("%5."), "%5.");
    EXPECT_EQ(qf::format("%ll"), "%ll");
    EXPECT_EQ(qf::format(std::string_view("%\0d", 3), 1), std::string_view("%\0d", 3));
}

TEST(Format, LeavesAnInvalidDirectiveWithoutUsingAnArgumentUp) {
    EXPECT_EQ(qf::format("%n%@", "a"), "%na");
    EXPECT_EQ(qf::format("%5%@", "a"), "%5a");
}

TEST(Format, TakesWidthsAndPrecisionsUpTo4096) {
    EXPECT_EQ(qf::format("%4096d", 1).size(), 4096U);
    EXPECT_EQ(qf::format("%4097d", 1), "%4097d");
    EXPECT_EQ(qf::format("%999999999d", 1), "%999999999d");
    EXPECT_EQ(qf::format("%99999999999999999999999999d", 1), "%99999999999999999999999999d");
    EXPECT_EQ(qf::format("%.4097f", 1.0), "%.4097f");
    EXPECT_EQ(qf::format("%.4096f", std::numeric_limits<double>::max()).size(), 309U + 1 + 4096);
}

TEST(Format, PadsAndCutsByCharactersNotByBytes) {
    EXPECT_EQ(qf::format("[%4s]", "\xC3\xA9"), "[   \xC3\xA9]");
    EXPECT_EQ(qf::format("[%-3@]", "\xC3\xA9"), "[\xC3\xA9  ]");
    EXPECT_EQ(qf::format("[%.1s]", "\xE2\x82\xAC\xE2\x82\xAC"), "[\xE2\x82\xAC]");
    EXPECT_EQ(qf::format("[%.0@]", "abc"), "[]");
}

TEST(Format, WritesACharacter) {
    EXPECT_EQ(qf::format("%c%c%3c", 'a', 0x20AC, 'b'), "a\xE2\x82\xAC  b");
    EXPECT_EQ(qf::format("%c", '\0'), std::string(1, '\0'));
    EXPECT_EQ(qf::format("%c %c %c", -1, 0xD800, 0x110000), "%c %c %c");
    EXPECT_EQ(qf::format("%c", std::uint64_t{0x100000041}), "%c");
}

TEST(Format, IgnoresLengthsSinceAnArgumentKnowsItsSize) {
    EXPECT_EQ(qf::format("%hhd %hd %ld %lld %qd %zd %td %jd %Lf", 300, 70000, 5000000000,
                         -5000000000, 1, 2, 3, 4, 1.5),
              "300 70000 5000000000 -5000000000 1 2 3 4 1.500000");
}

TEST(Format, WritesNegativeNumbersAsTheirBitsWhereTheDirectiveIsUnsigned) {
    EXPECT_EQ(qf::format("%u %x %X %o", -1, -1, -1, -1),
              "18446744073709551615 ffffffffffffffff FFFFFFFFFFFFFFFF 1777777777777777777777");
}

TEST(Format, WritesTheExtremeIntegers) {
    EXPECT_EQ(qf::format("%d %d %u", std::numeric_limits<std::int64_t>::min(),
                         std::numeric_limits<std::uint64_t>::max(),
                         std::numeric_limits<std::uint64_t>::max()),
              "-9223372036854775808 18446744073709551615 18446744073709551615");
}

TEST(Format, KeepsZerosAndForeignBytes) {
    const std::string text("a\0\xFF", 3);
    EXPECT_EQ(qf::format(text + "%@", text), text + text);
}

TEST(Format, TakesAMegabyteOfPercentSigns) {
    const std::string signs(1000001, '%');
    EXPECT_EQ(qf::format(signs, "x"), std::string(500000, '%') + "%");
}

TEST(Format, TakesAMegabyteOfFlagsAndDigits) {
    const std::string zeros = "%" + std::string(1000000, '0');
    EXPECT_EQ(qf::format(zeros + "d", 1), "1");
    EXPECT_EQ(qf::format(zeros, 1), zeros);
    const std::string manyDirectives = [] {
        std::string text;
        for (int i = 0; i < 100000; ++i) {
            text += "%4096@";
        }
        return text;
    }();
    EXPECT_EQ(qf::format(manyDirectives, 1).size(), 4096 + manyDirectives.size() - 6);
}

namespace {

std::string asCWrites(const char* directive, double number) {
    std::vector<char> buffer(8192);
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    const int length = std::snprintf(buffer.data(), buffer.size(), directive, number);
#pragma GCC diagnostic pop
    return {buffer.data(), static_cast<std::size_t>(length)};
}

std::string asCWrites(const char* directive, int number) {
    std::vector<char> buffer(8192);
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    const int length = std::snprintf(buffer.data(), buffer.size(), directive, number);
#pragma GCC diagnostic pop
    return {buffer.data(), static_cast<std::size_t>(length)};
}

/// Every mix of flags with some widths and precisions, in front of a conversion.
std::vector<std::string> directives(char conversion) {
    std::vector<std::string> result;
    for (unsigned mix = 0; mix < 32; ++mix) {
        std::string flags;
        for (unsigned bit = 0; bit < 5; ++bit) {
            if ((mix & (1U << bit)) != 0) {
                flags += "-+ #0"[bit];
            }
        }
        for (const char* field : {"", "1", "12", ".", ".0", ".3", "12.1", "9.9", "30.20"}) {
            result.push_back("%" + flags + field + conversion);
        }
    }
    return result;
}

} // namespace

TEST(Format, WritesIntegersAsCDoes) {
    for (const char conversion : std::string("diuxXo")) {
        for (const auto& directive : directives(conversion)) {
            for (const int number : {0, 1, 8, 255, 123456789}) {
                ASSERT_EQ(qf::format(directive, number), asCWrites(directive.c_str(), number))
                    << directive << " " << number;
            }
        }
    }
    for (const char conversion : std::string("di")) {
        for (const auto& directive : directives(conversion)) {
            ASSERT_EQ(qf::format(directive, -42), asCWrites(directive.c_str(), -42)) << directive;
        }
    }
}

TEST(Format, WritesRealsAsCDoes) {
    constexpr double infinity = std::numeric_limits<double>::infinity();
    for (const char conversion : std::string("fFeEgG")) {
        for (const auto& directive : directives(conversion)) {
            for (const double number :
                 {0.0, -0.0, 1.0, -1.5, 0.1, 99.9999999, 123456.0, 1234567.0, 0.0001, 0.00001,
                  5e-324, 1e21, 1e300, infinity, -infinity, std::nan("")}) {
                ASSERT_EQ(qf::format(directive, number), asCWrites(directive.c_str(), number))
                    << directive << " " << number;
            }
        }
    }
}

TEST(Format, WritesGigabytesWithTwoDecimals) {
    EXPECT_EQ(qf::format("%0.2f GB", 16.0), "16.00 GB");
}
