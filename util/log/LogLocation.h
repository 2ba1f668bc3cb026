#pragma once

#include <optional>
#include <string>
#include <string_view>

/// Where the logs of an application lie.
namespace log_location {

inline constexpr int newest = 1;
inline constexpr int oldest = 5;

/// The directory of the user's logs, missing when the user has no Library directory.
std::optional<std::string> userDirectory();

/// The log of that number in a directory.
std::string numberedLog(std::string_view directory, std::string_view name, int number);

/// The log that is written: in the user's directory, or, for the superuser, in the machine's.
std::optional<std::string> currentLog(std::string_view name);

} // namespace log_location
