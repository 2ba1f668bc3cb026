#pragma once

#include <concepts>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace platform {

/// One argument of format(): it knows its own type, so that a directive can never misread it. It
/// refers to the text it is made of, which outlives it.
class FormatArgument {
public:
    /// A number or a text; a missing text (nil) is one too.
    template <std::signed_integral T>
    FormatArgument(T number) : content_(static_cast<std::int64_t>(number)) {}
    template <std::unsigned_integral T>
    FormatArgument(T number) : content_(static_cast<std::uint64_t>(number)) {}
    FormatArgument(double number) : content_(number) {}
    FormatArgument(std::string_view text) : content_(text) {}
    FormatArgument(const std::string& text) : content_(std::string_view(text)) {}
    FormatArgument(const std::optional<std::string>& text);
    FormatArgument(std::nullopt_t) {}

    /// A null pointer is a missing text.
    FormatArgument(const char* text);

    /// What the argument is: nil, a number or a text.
    using Content =
        std::variant<std::monostate, std::int64_t, std::uint64_t, double, std::string_view>;
    const Content& content() const { return content_; }

private:
    Content content_;
};

/// Fills a printf-style format.
///
/// The directives are
///   %@           an argument of any type in its plain form,
///   %s           a text,
///   %d %i        an integer,
///   %u %x %X %o  an integer, a negative one as the 64-bit unsigned number of the same bits,
///   %c           an integer that is a code point, as its character,
///   %f %F %e %E %g %G  a real number,
/// each with the flags "-+ #0", a width and a precision as digits, and any of the lengths h hh l ll
/// q z t j L, which change nothing since an argument knows its own size; and %% for one percent
/// sign. Width and precision mean what they mean in C, with characters where C counts bytes, so
/// that no character is cut; %@ takes them as %s does. The decimal sign is always ".". A missing
/// text (nil) shows as "(null)".
///
/// A directive that has no argument left, whose argument is of another type, or that is none of the
/// above (also "%n", "%*d", and a width or precision above 4096) stands in the result as it stands
/// in the format; one with an argument of another type uses that argument up. Surplus arguments are
/// ignored. Bytes that are no UTF-8, and zeros, come out as they went in. The result is never
/// longer than the format, the texts and 4096 times six bytes for each argument together. Nothing
/// here raises but std::bad_alloc. Any thread may call it.
///
/// A call names the namespace: without it the arguments of the standard library's types would bring
/// in std::format, which may match better.
std::string format(std::string_view format, std::initializer_list<FormatArgument> arguments);

/// The same, with the arguments one after another.
template <class... Arguments>
std::string format(std::string_view text, const Arguments&... arguments) {
    return format(text, {FormatArgument(arguments)...});
}

} // namespace platform
