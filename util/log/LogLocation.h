#pragma once

#include <optional>
#include <string>
#include <string_view>

/// Where the logs of an application lie.
namespace log_location {

inline constexpr int newest = 1;
inline constexpr int oldest = 5;

/// The folder of the user's logs, missing when the user has no Library folder.
std::optional<std::string> userFolder();

/// The log of that number in a folder.
std::string numberedLog(std::string_view folder, std::string_view name, int number);

/// The log that is written: in the user's folder, or, for the superuser, in the machine's.
std::optional<std::string> currentLog(std::string_view name);

} // namespace log_location
