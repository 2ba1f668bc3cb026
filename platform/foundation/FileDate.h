#pragma once

#include "platform/foundation/Date.h"

#include <chrono>
#include <compare>
#include <cstdint>
#include <ctime>

namespace qf {

/// A date as file systems keep it. Unlike Date, which ends in the year 2262, it holds every date
/// that a file can have.
struct FileDate {
    std::int64_t seconds = 0;     ///< Since 1970 in UTC; negative before.
    std::int32_t nanoseconds = 0; ///< Since that second: 0 to 999,999,999.

    constexpr FileDate() = default;

    /// Takes a time as the C library has it, with 0 to 999,999,999 nanoseconds.
    constexpr explicit FileDate(std::timespec time)
        : seconds(time.tv_sec), nanoseconds(static_cast<std::int32_t>(time.tv_nsec)) {}

    /// Converts a date, which is always possible.
    constexpr FileDate(Date date) {
        constexpr std::int64_t second = 1'000'000'000;
        const std::int64_t count = std::chrono::nanoseconds(date.time_since_epoch()).count();
        const bool isBetween = count < 0 && count % second != 0;
        seconds = count / second - (isBetween ? 1 : 0);
        nanoseconds = static_cast<std::int32_t>(count % second + (isBetween ? second : 0));
    }

    /// Returns the nearest Date: Date::min() or Date::max() if this is beyond them.
    constexpr Date nearestDate() const {
        if (seconds <= FileDate(Date::min()).seconds) {
            return Date::min();
        }
        if (seconds >= FileDate(Date::max()).seconds) {
            return Date::max();
        }
        return Date(std::chrono::duration_cast<Date::duration>(
            std::chrono::seconds(seconds) + std::chrono::nanoseconds(nanoseconds)));
    }

    /// Orders by time.
    friend constexpr auto operator<=>(const FileDate&, const FileDate&) = default; // NOLINT
};

} // namespace qf
