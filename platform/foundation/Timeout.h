#pragma once

#include <chrono>
#include <concepts>

namespace qf {

/// A type whose values count seconds: any number, but no truth value and no character, which would
/// choose a member with a time-out by mistake.
template <class Type>
concept NumberOfSeconds = std::floating_point<Type> ||
    (std::integral<Type> && !std::same_as<Type, bool> && !std::same_as<Type, char> &&
     !std::same_as<Type, signed char> && !std::same_as<Type, unsigned char> &&
     !std::same_as<Type, wchar_t> && !std::same_as<Type, char8_t> &&
     !std::same_as<Type, char16_t> && !std::same_as<Type, char32_t>);

/// The longest time that an operation may take: a number of seconds, of which only the whole ones
/// count: less than one second has passed at once.
class Timeout {
public:
    /// The upper limit, about 31 years, that longer time-outs, infinity included, are cut to.
    static constexpr std::chrono::seconds longest{1'000'000'000};

    /// Makes a time-out of that many seconds.
    template <NumberOfSeconds Number>
    constexpr Timeout(Number seconds) : seconds_(static_cast<double>(seconds)) {}

    /// Makes a time-out of that duration.
    template <class Representation, class Period>
    constexpr Timeout(std::chrono::duration<Representation, Period> duration)
        : seconds_(std::chrono::duration<double>(duration).count()) {}

    /// Returns the whole seconds, truncated toward zero. A negative time-out, or one that is not a
    /// number, counts as zero.
    constexpr std::chrono::seconds wholeSeconds() const {
        if (!(seconds_ > 0)) {
            return std::chrono::seconds(0);
        }
        if (seconds_ >= static_cast<double>(longest.count())) {
            return longest;
        }
        return std::chrono::seconds(static_cast<std::chrono::seconds::rep>(seconds_));
    }

private:
    double seconds_;
};

} // namespace qf
