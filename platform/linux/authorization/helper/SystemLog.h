#pragma once

#include <cstddef>
#include <string_view>

namespace qf::native::helper {

/// The bytes after which a line is cut.
inline constexpr std::size_t longestLogLine = 400;

/// Opens the system log, so that it can be written to when nothing else can be opened any more.
void openLog();

/// Writes one line that no terminal and no log reader can mistake for anything else, cut where it
/// is too long.
void log(std::string_view line);

} // namespace qf::native::helper
