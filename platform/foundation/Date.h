#pragma once

#include <chrono>
#include <string>

namespace qf {

/// A point in time of the system clock.
using Date = std::chrono::system_clock::time_point;

/// Returns the default description of a date: year-month-day, 24-hour time, in UTC with its numeric
/// offset, such as "2026-11-16 06:39:54 +0000".
std::string description(Date date);

/// Appends the description to `text`.
void appendDescription(std::string& text, Date date);

} // namespace qf
