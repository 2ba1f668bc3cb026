#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// Questions about UTF-8 text. Invalid UTF-8 is never undefined behaviour: a byte that is part of
/// no character counts as one character of its own.
namespace platform::text {

/// In place of a code point: a byte that is part of no character.
inline constexpr char32_t notACharacter = 0xFFFFFFFF;

/// One character of a text: its code point, and how many bytes it takes there.
struct Character {
    char32_t codePoint = notACharacter; ///< Which character it is.
    std::size_t length = 1;             ///< In bytes.
};

/// The first character of `text`, which is not empty. Overlong forms, surrogates and numbers beyond
/// U+10FFFF are no characters (RFC 3629).
Character firstCharacter(std::string_view text);

/// Appends a character in UTF-8. Appends nothing and gives false when the number is no character.
bool appendCharacter(std::string& text, char32_t codePoint);

/// The length in characters (code points).
std::size_t characterCount(std::string_view text);

/// The first `count` characters of `text`, all of it when it has no more.
std::string_view prefix(std::string_view text, std::size_t count);

/// The length in UTF-16 units: characters beyond U+FFFF count as two.
std::size_t utf16Length(std::string_view text);

/// `text` without the white space and line ends (Unicode's) at both its ends.
std::string_view trimmed(std::string_view text);

/// `text` with its letters (Unicode's) in lower case, each for itself, so that it has as many
/// characters as before.
std::string lowercased(std::string_view text);

/// Whether `text` begins with `prefix`, ASCII letters compared without case.
bool hasPrefixIgnoringCase(std::string_view text, std::string_view prefix);

/// `text` with every byte that is no UTF-8 as "\xNN", all else as it stands.
std::string validUtf8(std::string text);

/// `text` fit to be shown: the bytes of control characters (line ends, and those that change the
/// direction of writing, included) and bytes that are no UTF-8 become "\xNN".
std::string printable(std::string_view text);

} // namespace platform::text
