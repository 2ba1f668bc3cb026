#include "platform/foundation/Format.h"

#include "platform/foundation/Text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <type_traits>

namespace qf {

namespace {

constexpr std::size_t largestField = 4096;
constexpr std::string_view missingText = "(null)";

/// A directive: what is between the percent sign and the final letter, and that letter.
struct Directive {
    bool leftAligned = false;
    bool plusSign = false;
    bool spaceSign = false;
    bool alternate = false;
    bool zeroPadded = false;
    std::size_t width = 0;
    std::optional<std::size_t> precision;
    char conversion = '\0';
};

class DirectiveReader {
public:
    /// `text` must begin with a percent sign.
    explicit DirectiveReader(std::string_view text) : text_(text) {}

    /// Returns the directive, or nullopt if there is none.
    std::optional<Directive> read() {
        Directive directive;
        readFlags(directive);
        const auto width = readNumber();
        if (!width) {
            return {};
        }
        directive.width = *width;
        if (peek() == '.') {
            ++position_;
            directive.precision = readNumber();
            if (!directive.precision) {
                return {};
            }
        }
        position_ = std::min(text_.find_first_not_of("hlqztjL", position_), text_.size());
        directive.conversion = peek();
        ++position_;
        const bool known = directive.conversion != '\0' &&
                           std::string_view("@sdiuxXocfFeEgG").find(directive.conversion) !=
                               std::string_view::npos;
        return known ? std::optional(directive) : std::nullopt;
    }

    /// Returns the length of the directive in bytes.
    std::size_t length() const { return position_; }

private:
    char peek() const { return position_ < text_.size() ? text_[position_] : '\0'; }

    void readFlags(Directive& directive) {
        for (;; ++position_) {
            switch (peek()) {
            case '-':
                directive.leftAligned = true;
                break;
            case '+':
                directive.plusSign = true;
                break;
            case ' ':
                directive.spaceSign = true;
                break;
            case '#':
                directive.alternate = true;
                break;
            case '0':
                directive.zeroPadded = true;
                break;
            default:
                return;
            }
        }
    }

    /// Reads the digits that come next as a number: 0 if there are none, nullopt if it is too
    /// large.
    std::optional<std::size_t> readNumber() {
        std::size_t number = 0;
        for (; peek() >= '0' && peek() <= '9'; ++position_) {
            number = number * 10 + static_cast<std::size_t>(peek() - '0');
            if (number > largestField) {
                return {};
            }
        }
        return number;
    }

    std::string_view text_;
    std::size_t position_ = 1;
};

void appendField(std::string& result, const Directive& directive, std::string_view text) {
    const auto length = directive.width == 0 ? 0 : text::characterCount(text);
    const auto padding = directive.width > length ? directive.width - length : 0;
    result.append(directive.leftAligned ? 0 : padding, ' ');
    result += text;
    result.append(directive.leftAligned ? padding : 0, ' ');
}

void appendText(std::string& result, const Directive& directive, std::string_view text) {
    appendField(result, directive,
                directive.precision ? text::prefix(text, *directive.precision) : text);
}

/// Appends a number: its sign or base prefix, the zeros that the flag 0 asks for, its digits.
void appendNumber(std::string& result, const Directive& directive, std::string_view sign,
                  std::string_view digits, bool zeroPadded) {
    std::string text(sign);
    if (zeroPadded && !directive.leftAligned) {
        const auto length = sign.size() + digits.size();
        text.append(directive.width > length ? directive.width - length : 0, '0');
    }
    appendField(result, directive, text.append(digits));
}

std::string_view signOf(const Directive& directive, bool negative) {
    if (negative) {
        return "-";
    }
    if (directive.plusSign) {
        return "+";
    }
    return directive.spaceSign ? " " : "";
}

template <class Number, class... Form>
std::string digitsOf(Number number, Form... form) {
    constexpr std::size_t longest = std::is_integral_v<Number> ? 64 : largestField + 512;
    std::array<char, longest> buffer{};
    const auto end =
        std::to_chars(buffer.data(), buffer.data() + buffer.size(), number, form...).ptr;
    return {buffer.data(), end};
}

void makeUpperCase(std::string& digits) {
    std::transform(digits.begin(), digits.end(), digits.begin(), [](char digit) {
        return digit >= 'a' && digit <= 'z' ? static_cast<char>(digit - 'a' + 'A') : digit;
    });
}

/// An integer as magnitude and sign, to hold both integer types of an argument.
struct Integer {
    std::uint64_t magnitude;
    bool negative;
};

void appendInteger(std::string& result, const Directive& directive, Integer integer, int base,
                   std::string_view sign) {
    const bool empty = directive.precision == 0 && integer.magnitude == 0;
    auto digits = empty ? std::string() : digitsOf(integer.magnitude, base);
    const auto fewest = directive.precision.value_or(1);
    if (digits.size() < fewest) {
        digits.insert(0, fewest - digits.size(), '0');
    }
    if (base == 8 && directive.alternate && !digits.starts_with('0')) {
        digits.insert(0, 1, '0');
    }
    if (directive.conversion == 'X') {
        makeUpperCase(digits);
    }
    appendNumber(result, directive, sign, digits, directive.zeroPadded && !directive.precision);
}

bool appendInteger(std::string& result, const Directive& directive, Integer integer) {
    const auto bits = integer.negative ? 0 - integer.magnitude : integer.magnitude;
    const bool basePrefix = directive.alternate && bits != 0;
    switch (directive.conversion) {
    case '@':
    case 'd':
    case 'i':
        appendInteger(result, directive, integer, 10, signOf(directive, integer.negative));
        return true;
    case 'u':
        appendInteger(result, directive, {bits, false}, 10, "");
        return true;
    case 'o':
        appendInteger(result, directive, {bits, false}, 8, "");
        return true;
    case 'x':
        appendInteger(result, directive, {bits, false}, 16, basePrefix ? "0x" : "");
        return true;
    case 'X':
        appendInteger(result, directive, {bits, false}, 16, basePrefix ? "0X" : "");
        return true;
    case 'c': {
        std::string character;
        const auto codePoint = static_cast<char32_t>(std::min<std::uint64_t>(bits, 0xFFFFFFFF));
        if (text::appendCharacter(character, codePoint)) {
            appendField(result, directive, character);
            return true;
        }
        return false;
    }
    default:
        return false;
    }
}

int exponentOf(std::string_view scientific) {
    const auto exponent = scientific.substr(scientific.find('e') + 1);
    return std::atoi(std::string(exponent).c_str());
}

/// Returns the form that C's "%#g" produces: %e or %f, whichever %g would choose, with all digits.
std::string generalWithAllDigits(double magnitude, int precision) {
    const auto significant = std::max(precision, 1);
    auto scientific = digitsOf(magnitude, std::chars_format::scientific, significant - 1);
    const auto exponent = exponentOf(scientific);
    if (exponent < -4 || exponent >= significant) {
        return scientific;
    }
    return digitsOf(magnitude, std::chars_format::fixed, significant - 1 - exponent);
}

std::string digitsOfReal(const Directive& directive, double magnitude) {
    const auto precision = static_cast<int>(directive.precision.value_or(6));
    std::string digits;
    switch (directive.conversion) {
    case 'f':
    case 'F':
        digits = digitsOf(magnitude, std::chars_format::fixed, precision);
        break;
    case 'e':
    case 'E':
        digits = digitsOf(magnitude, std::chars_format::scientific, precision);
        break;
    default:
        digits = directive.alternate ? generalWithAllDigits(magnitude, precision)
                                     : digitsOf(magnitude, std::chars_format::general, precision);
    }
    if (directive.alternate && digits.find('.') == std::string::npos) {
        digits.insert(std::min(digits.find('e'), digits.size()), 1, '.');
    }
    return digits;
}

bool appendReal(std::string& result, const Directive& directive, double real) {
    const auto sign = signOf(directive, std::signbit(real));
    const auto magnitude = std::fabs(real);
    if (directive.conversion == '@') {
        appendField(result, directive, std::string(sign) + digitsOf(magnitude));
        return true;
    }
    if (std::string_view("fFeEgG").find(directive.conversion) == std::string_view::npos) {
        return false;
    }
    auto digits = std::isfinite(magnitude) ? digitsOfReal(directive, magnitude)
                                           : std::string(std::isnan(magnitude) ? "nan" : "inf");
    if (directive.conversion <= 'Z') {
        makeUpperCase(digits);
    }
    appendNumber(result, directive, sign, digits, directive.zeroPadded && std::isfinite(magnitude));
    return true;
}

/// Appends one argument as its directive asks for; returns false, appending nothing, if the
/// argument has another type.
class ArgumentWriter {
public:
    ArgumentWriter(std::string& result, const Directive& directive)
        : result_(result), directive_(directive) {}

    bool operator()(std::monostate /*missing*/) const { return (*this)(missingText); }
    bool operator()(std::int64_t number) const {
        const auto bits = static_cast<std::uint64_t>(number);
        return appendInteger(result_, directive_, {number < 0 ? 0 - bits : bits, number < 0});
    }
    bool operator()(std::uint64_t number) const {
        return appendInteger(result_, directive_, {number, false});
    }
    bool operator()(double number) const { return appendReal(result_, directive_, number); }
    bool operator()(std::string_view text) const {
        if (directive_.conversion != '@' && directive_.conversion != 's') {
            return false;
        }
        appendText(result_, directive_, text);
        return true;
    }

private:
    std::string& result_;
    const Directive& directive_;
};

/// Returns the length of the result in bytes without padding.
std::size_t likelySize(std::string_view format, std::initializer_list<FormatArgument> arguments) {
    constexpr std::size_t digits = 16;
    auto size = format.size();
    for (const auto& argument : arguments) {
        const auto* text = std::get_if<std::string_view>(&argument.content());
        size += text != nullptr ? text->size() : digits;
    }
    return size;
}

} // namespace

FormatArgument::FormatArgument(const std::optional<std::string>& text) {
    if (text) {
        content_ = std::string_view(*text);
    }
}

FormatArgument::FormatArgument(const char* text) {
    if (text != nullptr) {
        content_ = std::string_view(text);
    }
}

std::string format(std::string_view format, std::initializer_list<FormatArgument> arguments) {
    std::string result;
    result.reserve(likelySize(format, arguments));
    const auto* argument = arguments.begin();
    while (!format.empty()) {
        const auto percent = std::min(format.find('%'), format.size());
        result += format.substr(0, percent);
        format.remove_prefix(percent);
        if (format.empty()) {
            break;
        }
        if (format.starts_with("%%")) {
            result += '%';
            format.remove_prefix(2);
            continue;
        }
        DirectiveReader reader(format);
        const auto directive = reader.read();
        const bool filled = directive && argument != arguments.end() &&
                            std::visit(ArgumentWriter(result, *directive), (argument++)->content());
        const auto length = directive ? reader.length() : 1;
        if (!filled) {
            result += format.substr(0, length);
        }
        format.remove_prefix(length);
    }
    return result;
}

} // namespace qf
