#pragma once

#include <cstddef>
#include <initializer_list>
#include <string>
#include <string_view>

/// Functions on UTF-8 text. Invalid UTF-8 is never undefined behaviour: a byte that is not part of
/// a character counts as one character.
namespace qf::text {

/// The code point of a byte that is not part of a character.
inline constexpr char32_t notACharacter = 0xFFFFFFFF;

/// One character of a text: its code point, and its length in bytes there.
struct Character {
    char32_t codePoint = notACharacter; ///< The character.
    std::size_t length = 1;             ///< In bytes.
};

/// Returns the first character of `text`, which must not be empty. Overlong forms, surrogates and
/// numbers beyond U+10FFFF are not characters (RFC 3629).
Character firstCharacter(std::string_view text);

/// Appends a character in UTF-8. Returns false, appending nothing, if the number is not a
/// character.
bool appendCharacter(std::string& text, char32_t codePoint);

/// Returns the length in characters (code points).
std::size_t characterCount(std::string_view text);

/// Returns the first `count` characters of `text`, or all of it if it has no more.
std::string_view prefix(std::string_view text, std::size_t count);

/// Returns the length in UTF-16 units: characters beyond U+FFFF count as two.
std::size_t utf16Length(std::string_view text);

/// Returns `text` without leading and trailing Unicode white space and line ends.
std::string_view trimmed(std::string_view text);

/// Returns `text` with its Unicode letters in lower case, mapped one by one, so that the number of
/// characters is unchanged.
std::string lowercased(std::string_view text);

/// Returns whether `text` begins with `prefix`, ignoring the case of ASCII letters.
bool hasPrefixIgnoringCase(std::string_view text, std::string_view prefix);

/// Returns `text` with every byte that is not UTF-8 replaced by "\xNN", and the rest unchanged.
std::string validUtf8(std::string text);

/// Returns `text` made safe to display: the bytes of control characters (including line ends, and
/// those that change the writing direction) and bytes that are not UTF-8 become "\xNN".
std::string printable(std::string_view text);

/// Returns `pattern` with the first value in each place of %1, the second in those of %2, and so on
/// to %9. Everything else is unchanged, also a number without a value.
std::string filled(std::string_view pattern, std::initializer_list<std::string_view> values);

} // namespace qf::text
