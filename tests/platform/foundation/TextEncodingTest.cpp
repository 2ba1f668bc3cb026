#include "platform/foundation/TextEncoding.h"

#include <gtest/gtest.h>

#include <string_view>

namespace {

using platform::decodedText;
using platform::TextEncoding;
using namespace std::string_literals;

platform::Data bytes(std::string_view text) {
    platform::Data data;
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

TEST(TextEncoding, Utf8IsTakenOnlyWhenItIsValid) {
    EXPECT_EQ(decodedText(bytes("caf\xC3\xA9 \xF0\x9F\x98\x80"), TextEncoding::utf8),
              "caf\xC3\xA9 \xF0\x9F\x98\x80");
    for (const auto* wrong : {"\x80", "\xC3", "\xC0\xAF", "\xED\xA0\x80", "\xF4\x90\x80\x80"}) {
        EXPECT_EQ(decodedText(bytes(wrong), TextEncoding::utf8), std::nullopt);
    }
}

TEST(TextEncoding, EveryByteIsACharacterOfIsoLatin1) {
    EXPECT_EQ(decodedText(bytes("caf\xE9\x80"), TextEncoding::isoLatin1), "caf\xC3\xA9\xC2\x80");
}

TEST(TextEncoding, NoBytesAreTheEmptyText) {
    for (const auto encoding : {TextEncoding::ascii, TextEncoding::utf8, TextEncoding::isoLatin1}) {
        EXPECT_EQ(decodedText({}, encoding), "");
    }
}

TEST(TextEncoding, ANumberThatNamesNoEncodingGivesNothing) {
    EXPECT_EQ(decodedText(bytes("plain"), TextEncoding{0}), std::nullopt);
    EXPECT_EQ(decodedText(bytes("plain"), TextEncoding{999}), std::nullopt);
}

} // namespace
