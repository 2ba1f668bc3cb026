#pragma once

#include <optional>
#include <string>
#include <string_view>

/// The paths of an application's logs.
namespace qf::log_location {

inline constexpr int newest = 1;
inline constexpr int oldest = 5;

/// Returns the directory of the user's logs; no value if the user has no Library directory.
std::optional<std::string> userDirectory();

/// Returns the path of the log with this number in a directory.
std::string numberedLog(std::string_view directory, std::string_view name, int number);

/// Returns the path of the log that is written: in the user's directory or, for the superuser, in
/// the machine's.
std::optional<std::string> currentLog(std::string_view name);

} // namespace qf::log_location
