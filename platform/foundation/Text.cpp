#include "platform/foundation/Text.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <locale>
#include <stdexcept>

namespace qf::text {

namespace {

struct Range {
    char32_t first;
    char32_t last;
};

constexpr std::array spaces{
    Range{0x09, 0x0D},     Range{0x20, 0x20},     Range{0x85, 0x85},     Range{0xA0, 0xA0},
    Range{0x1680, 0x1680}, Range{0x2000, 0x200A}, Range{0x2028, 0x2029}, Range{0x202F, 0x202F},
    Range{0x205F, 0x205F}, Range{0x3000, 0x3000},
};

constexpr std::array controls{
    Range{0x00, 0x1F},     Range{0x7F, 0x9F},     Range{0x200E, 0x200F},
    Range{0x2028, 0x202E}, Range{0x2066, 0x2069},
};

/// The forms of UTF-8: the bits of the first byte, and the code points that need that many bytes.
struct Form {
    std::uint8_t mask;
    std::uint8_t lead;
    std::size_t length;
    Range codePoints;
};

constexpr std::array forms{
    Form{0x80, 0x00, 1, {0x00, 0x7F}},
    Form{0xE0, 0xC0, 2, {0x80, 0x7FF}},
    Form{0xF0, 0xE0, 3, {0x800, 0xFFFF}},
    Form{0xF8, 0xF0, 4, {0x10000, 0x10FFFF}},
};

template <std::size_t count>
bool contains(const std::array<Range, count>& ranges, char32_t codePoint) {
    return std::any_of(ranges.begin(), ranges.end(), [codePoint](const Range& range) {
        return range.first <= codePoint && codePoint <= range.last;
    });
}

bool isSurrogate(char32_t codePoint) {
    return codePoint >= 0xD800 && codePoint <= 0xDFFF;
}

std::uint8_t byteAt(std::string_view text, std::size_t index) {
    return static_cast<std::uint8_t>(text[index]);
}

/// Returns the last character of `text`, which must not be empty.
Character lastCharacter(std::string_view text) {
    const auto longest = std::min<std::size_t>(text.size(), forms.size());
    for (std::size_t length = 2; length <= longest; ++length) {
        const auto last = firstCharacter(text.substr(text.size() - length));
        if (last.length == length) {
            return last;
        }
    }
    return firstCharacter(text.substr(text.size() - 1));
}

char lowercased(char letter) {
    return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

/// The C library's table of Unicode letters, whatever the user's locale; ASCII letters only if it
/// has no such table. Never destroyed: detached threads may use it.
const std::ctype<wchar_t>& letters() {
    static const auto& locale = []() -> const std::locale& {
        try {
            return *new std::locale("C.UTF-8");
        } catch (const std::runtime_error&) {
            return std::locale::classic();
        }
    }();
    return std::use_facet<std::ctype<wchar_t>>(locale);
}

void appendEscaped(std::string& result, std::string_view bytes) {
    constexpr std::string_view digits = "0123456789ABCDEF";
    for (const char byte : bytes) {
        const auto number = static_cast<std::uint8_t>(byte);
        result += "\\x";
        result += digits[number >> 4U];
        result += digits[number & 0xFU];
    }
}

/// Returns `text` with the bytes of the characters that `isEscaped` accepts as "\\xNN".
template <class Predicate>
std::string escaped(std::string_view text, Predicate isEscaped) {
    std::string result;
    result.reserve(text.size());
    while (!text.empty()) {
        const auto character = firstCharacter(text);
        const auto bytes = text.substr(0, character.length);
        if (isEscaped(character.codePoint)) {
            appendEscaped(result, bytes);
        } else {
            result += bytes;
        }
        text.remove_prefix(character.length);
    }
    return result;
}

/// Examines eight bytes at a time: every log entry passes through here more than once.
bool isAscii(std::string_view text) {
    constexpr std::uint64_t highBits = 0x8080808080808080;
    std::uint64_t all = 0;
    for (; text.size() >= sizeof all; text.remove_prefix(sizeof all)) {
        std::uint64_t eight = 0;
        std::memcpy(&eight, text.data(), sizeof eight);
        all |= eight;
    }
    for (const char byte : text) {
        all |= static_cast<std::uint8_t>(byte);
    }
    return (all & highBits) == 0;
}

} // namespace

Character firstCharacter(std::string_view text) {
    const auto first = byteAt(text, 0);
    for (const auto& form : forms) {
        if ((first & form.mask) != form.lead) {
            continue;
        }
        if (text.size() < form.length) {
            return {};
        }
        char32_t codePoint = first & static_cast<std::uint8_t>(~form.mask);
        for (std::size_t index = 1; index < form.length; ++index) {
            const auto next = byteAt(text, index);
            if ((next & 0xC0U) != 0x80U) {
                return {};
            }
            codePoint = (codePoint << 6U) | (next & 0x3FU);
        }
        const bool shortest =
            codePoint >= form.codePoints.first && codePoint <= form.codePoints.last;
        return shortest && !isSurrogate(codePoint) ? Character{codePoint, form.length}
                                                   : Character{};
    }
    return {};
}

bool appendCharacter(std::string& text, char32_t codePoint) {
    const auto* form = std::find_if(forms.begin(), forms.end(), [codePoint](const Form& candidate) {
        return codePoint <= candidate.codePoints.last;
    });
    if (form == forms.end() || isSurrogate(codePoint)) {
        return false;
    }
    auto shift = static_cast<unsigned>(6 * (form->length - 1));
    text += static_cast<char>(form->lead | (codePoint >> shift));
    while (shift > 0) {
        shift -= 6;
        text += static_cast<char>(0x80U | ((codePoint >> shift) & 0x3FU));
    }
    return true;
}

std::size_t characterCount(std::string_view text) {
    if (isAscii(text)) {
        return text.size();
    }
    std::size_t count = 0;
    while (!text.empty()) {
        text.remove_prefix(firstCharacter(text).length);
        ++count;
    }
    return count;
}

std::string_view prefix(std::string_view text, std::size_t count) {
    auto rest = text;
    for (; count > 0 && !rest.empty(); --count) {
        rest.remove_prefix(firstCharacter(rest).length);
    }
    return text.substr(0, text.size() - rest.size());
}

std::size_t utf16Length(std::string_view text) {
    if (isAscii(text)) {
        return text.size();
    }
    std::size_t units = 0;
    while (!text.empty()) {
        const auto character = firstCharacter(text);
        units += character.length == 4 ? 2 : 1;
        text.remove_prefix(character.length);
    }
    return units;
}

std::string_view trimmed(std::string_view text) {
    while (!text.empty()) {
        const auto first = firstCharacter(text);
        if (!contains(spaces, first.codePoint)) {
            break;
        }
        text.remove_prefix(first.length);
    }
    while (!text.empty()) {
        const auto last = lastCharacter(text);
        if (!contains(spaces, last.codePoint)) {
            break;
        }
        text.remove_suffix(last.length);
    }
    return text;
}

std::string lowercased(std::string_view text) {
    std::string result;
    result.reserve(text.size());
    while (!text.empty()) {
        const auto [codePoint, length] = firstCharacter(text);
        if (length == 1) {
            result += lowercased(text.front());
        } else {
            const auto small = letters().tolower(static_cast<wchar_t>(codePoint));
            appendCharacter(result, static_cast<char32_t>(small));
        }
        text.remove_prefix(length);
    }
    return result;
}

bool hasPrefixIgnoringCase(std::string_view text, std::string_view prefix) {
    return text.size() >= prefix.size() &&
           std::equal(prefix.begin(), prefix.end(), text.begin(),
                      [](char left, char right) { return lowercased(left) == lowercased(right); });
}

std::string validUtf8(std::string text) {
    if (isAscii(text)) {
        return text;
    }
    return escaped(text, [](char32_t codePoint) { return codePoint == notACharacter; });
}

std::string printable(std::string_view text) {
    return escaped(text, [](char32_t codePoint) {
        return codePoint == notACharacter || contains(controls, codePoint);
    });
}

std::string filled(std::string_view pattern, std::initializer_list<std::string_view> values) {
    std::string result;
    for (std::size_t at = 0; at < pattern.size(); ++at) {
        const char next = at + 1 < pattern.size() ? pattern[at + 1] : '\0';
        const bool isPlace = pattern[at] == '%' && next >= '1' && next <= '9';
        const auto number = static_cast<std::size_t>(next - '1');
        if (isPlace && number < values.size()) {
            result += values.begin()[number];
            ++at;
        } else {
            result += pattern[at];
        }
    }
    return result;
}

} // namespace qf::text
