#include "platform/linux/tools/launchctl/UnitText.h"

#include "platform/foundation/Path.h"
#include "platform/foundation/Text.h"

#include <algorithm>
#include <climits>

namespace qf::native::launchctl {

namespace {

constexpr std::string_view asciiLettersAndDigits =
    "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";

bool isControl(char character) {
    const auto byte = static_cast<unsigned char>(character);
    return byte < 0x20 || byte == 0x7F;
}

/// Returns "\x" and two hexadecimal digits.
std::string hexadecimal(char character) {
    constexpr std::string_view digits = "0123456789abcdef";
    const auto byte = static_cast<unsigned char>(character);
    return {'\\', 'x', digits[byte >> 4U], digits[byte & 0xFU]};
}

/// Returns whether the code point is a noncharacter, which systemd rejects as invalid text.
bool isNonCharacter(char32_t codePoint) {
    return (codePoint & 0xFFFEU) == 0xFFFEU || (codePoint >= 0xFDD0 && codePoint <= 0xFDEF);
}

void requireText(std::string_view text) {
    for (auto rest = text; !rest.empty();) {
        const auto character = text::firstCharacter(rest);
        if (character.codePoint == text::notACharacter || character.codePoint == 0) {
            throw Unfit("must be UTF-8 text");
        }
        if (isNonCharacter(character.codePoint)) {
            throw Unfit("must not hold Unicode’s non-characters");
        }
        rest.remove_prefix(character.length);
    }
}

void requireLine(std::string_view text) {
    requireText(text);
    if (std::any_of(text.begin(), text.end(), isControl)) {
        throw Unfit("must not hold control characters");
    }
}

void requirePath(std::string_view path) {
    requireText(path);
    if (!path.starts_with('/')) {
        throw Unfit("must be an absolute path");
    }
    const auto components = path::components(path);
    const bool tooLong = std::any_of(components.begin(), components.end(),
                                     [](const auto& name) { return name.size() > NAME_MAX; });
    if (tooLong || path.size() >= PATH_MAX) {
        throw Unfit("must be a path of a possible length");
    }
}

/// Returns the text with each of these characters twice.
template <char... characters>
std::string doubled(std::string_view text) {
    std::string result;
    for (const char character : text) {
        result.append(((character == characters) || ...) ? 2 : 1, character);
    }
    return result;
}

/// Returns the text in double quotes, with characters escaped that would end the quotes or the
/// line.
std::string inQuotes(std::string_view text) {
    std::string result = "\"";
    for (const char character : text) {
        if (character == '"' || character == '\\') {
            result += '\\';
            result += character;
        } else if (isControl(character)) {
            result += hexadecimal(character);
        } else {
            result += character;
        }
    }
    return result + '"';
}

bool isSimpleName(std::string_view name) {
    constexpr auto letters = asciiLettersAndDigits;
    return !name.empty() && name.find('/') == std::string_view::npos &&
           letters.find(name.front()) != std::string_view::npos;
}

} // namespace

std::string escapedForUnitName(std::string_view text) {
    requireLine(text);
    if (text.empty()) {
        throw Unfit("must not be empty");
    }
    std::string name;
    for (const char character : text) {
        const bool stays = asciiLettersAndDigits.find(character) != std::string_view::npos ||
                           character == ':' || character == '_' ||
                           (character == '.' && !name.empty());
        if (character == '/') {
            name += '-';
        } else if (stays) {
            name += character;
        } else {
            name += hexadecimal(character);
        }
    }
    // Room for the longest suffix, ".service".
    constexpr std::size_t longestName = NAME_MAX - 8;
    if (name.size() > longestName) {
        throw Unfit("is too long for the name of a unit");
    }
    return name;
}

std::string escapedSpecifiers(std::string_view text) {
    requireLine(text);
    return doubled<'%'>(text);
}

std::string quotedWord(std::string_view text) {
    requireText(text);
    return inQuotes(doubled<'%'>(text));
}

std::string quotedArgument(std::string_view text) {
    requireText(text);
    return inQuotes(doubled<'%', '$'>(text));
}

std::string programWord(std::string_view path) {
    if (!isSimpleName(path)) {
        requirePath(path);
    }
    requireLine(path);
    // Quoted or not, systemd does not run such a program.
    if (path.find_first_of("\"'\\") != std::string_view::npos) {
        throw Unfit("must not hold quotes or backslashes");
    }
    if (path.ends_with('/')) {
        throw Unfit("must name a program, not a folder");
    }
    return quotedWord(path);
}

std::string plainPath(std::string_view path) {
    requirePath(path);
    requireLine(path);
    const auto components = path::components(path);
    if (std::find(components.begin(), components.end(), "..") != components.end()) {
        throw Unfit("must be a path without \"..\"");
    }
    if (path.ends_with(' ') || path.ends_with('\\')) {
        throw Unfit("must not end with a space or a backslash");
    }
    return doubled<'%'>(path);
}

} // namespace qf::native::launchctl
