#include "platform/foundation/TextEncoding.h"

#include "tests/support/NamedCase.h"

#include <gtest/gtest.h>

#include <string_view>

namespace {

using qf::decodedText;
using qf::TextEncoding;
using namespace std::string_literals;

qf::Data bytes(std::string_view text) {
    qf::Data data;
    for (const char letter : text) {
        data.bytes.push_back(static_cast<std::byte>(letter));
    }
    return data;
}

TEST(TextEncoding, AsciiHasNoByteAbove127) {
    EXPECT_EQ(decodedText(bytes("plain\n\x7F\0z"s), TextEncoding::ascii), "plain\n\x7F\0z"s);
    EXPECT_EQ(decodedText(bytes("caf\x80"), TextEncoding::ascii), std::nullopt);
    EXPECT_EQ(decodedText(bytes("\xFF"), TextEncoding::ascii), std::nullopt);
}

TEST(TextEncoding, Utf8IsTakenWhenItIsValid) {
    EXPECT_EQ(decodedText(bytes("caf\xC3\xA9 \xF0\x9F\x98\x80"), TextEncoding::utf8),
              "caf\xC3\xA9 \xF0\x9F\x98\x80");
}

class InvalidUtf8 : public testing::TestWithParam<NamedText> {};

TEST_P(InvalidUtf8, IsNotTaken) {
    EXPECT_EQ(decodedText(bytes(GetParam().value), TextEncoding::utf8), std::nullopt);
}

INSTANTIATE_TEST_SUITE_P(, InvalidUtf8,
                         testing::Values(NamedText{{"NoBeginning"}, "\x80"},
                                         NamedText{{"NoEnd"}, "\xC3"},
                                         NamedText{{"TooLong"}, "\xC0\xAF"},
                                         NamedText{{"HalfAPair"}, "\xED\xA0\x80"},
                                         NamedText{{"TooLarge"}, "\xF4\x90\x80\x80"}),
                         nameOfCase);

TEST(TextEncoding, EveryByteIsACharacterOfIsoLatin1) {
    EXPECT_EQ(decodedText(bytes("caf\xE9\x80"), TextEncoding::isoLatin1), "caf\xC3\xA9\xC2\x80");
}

class EveryEncoding : public testing::TestWithParam<NamedValue<TextEncoding>> {};

TEST_P(EveryEncoding, HasNoBytesForTheEmptyText) {
    EXPECT_EQ(decodedText({}, GetParam().value), "");
}

INSTANTIATE_TEST_SUITE_P(, EveryEncoding,
                         testing::Values(NamedValue<TextEncoding>{{"Ascii"}, TextEncoding::ascii},
                                         NamedValue<TextEncoding>{{"Utf8"}, TextEncoding::utf8},
                                         NamedValue<TextEncoding>{{"IsoLatin1"},
                                                                  TextEncoding::isoLatin1}),
                         nameOfCase);

TEST(TextEncoding, ANumberThatNamesNoEncodingDecodesNothing) {
    EXPECT_EQ(decodedText(bytes("plain"), TextEncoding{0}), std::nullopt);
    EXPECT_EQ(decodedText(bytes("plain"), TextEncoding{999}), std::nullopt);
}

} // namespace
