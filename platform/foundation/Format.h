#pragma once

#include <concepts>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace qf {

/// One argument of format(): it knows its own type, so that a directive can never misread it. It
/// refers to the text it is made from, which must outlive it.
class FormatArgument {
public:
    /// Holds a number, a text, or a missing text (nil).
    template <std::signed_integral T>
    FormatArgument(T number) : content_(static_cast<std::int64_t>(number)) {}
    template <std::unsigned_integral T>
    FormatArgument(T number) : content_(static_cast<std::uint64_t>(number)) {}
    FormatArgument(double number) : content_(number) {}
    FormatArgument(std::string_view text) : content_(text) {}
    FormatArgument(const std::string& text) : content_(std::string_view(text)) {}
    FormatArgument(const std::optional<std::string>& text);
    FormatArgument(std::nullopt_t) {}

    /// Holds a text; a null pointer is a missing text.
    FormatArgument(const char* text);

    /// The content: nil, a number or a text.
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
/// A directive that has no argument left, whose argument has another type, or that is not listed
/// above (such as "%n", "%*d", or a width or precision above 4096) is copied to the result
/// verbatim; one with an argument of another type consumes that argument. Surplus arguments are
/// ignored. Bytes that are not UTF-8, and zeros, are copied unchanged. The result is never longer
/// than the format, the texts and 4096 times six bytes for each argument together. Throws nothing
/// except std::bad_alloc. Any thread may call it.
///
/// Qualify calls with the namespace: otherwise arguments of the standard library's types would
/// bring in std::format, which may be a better match.
std::string format(std::string_view format, std::initializer_list<FormatArgument> arguments);

/// Like the above, with the arguments one after another.
template <class... Arguments>
std::string format(std::string_view text, const Arguments&... arguments) {
    return format(text, {FormatArgument(arguments)...});
}

} // namespace qf
