#include "platform/foundation/TextEncoding.h"

#include "platform/foundation/Text.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace qf {

namespace {

bool isAscii(const Data& data) {
    constexpr std::byte highBit{0x80};
    return std::ranges::none_of(data.bytes,
                                [](std::byte byte) { return (byte & highBit) != std::byte{0}; });
}

bool isUtf8(std::string_view text) {
    while (!text.empty()) {
        const auto character = text::firstCharacter(text);
        if (character.codePoint == text::notACharacter) {
            return false;
        }
        text.remove_prefix(character.length);
    }
    return true;
}

/// Every byte of ISO Latin 1 is its own code point.
std::string fromLatin1(const Data& data) {
    std::string text;
    text.reserve(data.bytes.size());
    for (const std::byte byte : data.bytes) {
        text::appendCharacter(text, std::to_integer<char32_t>(byte));
    }
    return text;
}

} // namespace

std::optional<std::string> decodedText(const Data& data, TextEncoding encoding) {
    if (encoding == TextEncoding::isoLatin1) {
        return fromLatin1(data);
    }
    std::string text(reinterpret_cast<const char*>(data.bytes.data()), data.bytes.size());
    const bool valid = encoding == TextEncoding::ascii  ? isAscii(data)
                       : encoding == TextEncoding::utf8 ? isUtf8(text)
                                                        : false;
    return valid ? std::optional(std::move(text)) : std::nullopt;
}

} // namespace qf
