#pragma once

#include <string>

namespace platform::native::ditto {

/// Unpacks a zip archive into a directory.
///
/// Modes, but for the bits that make programs run as others, times and links are restored. A
/// directory that is missing is made, and appears when all is in it; into one that is there, the
/// entries are merged. An entry that would leave the directory, by an absolute path, by ".." or
/// through a link, one that is no file, directory or link, one of a declared size that the volume
/// has no room for, one whose content is not what the archive says, and an archive that is damaged
/// in any way end the work with a ToolError. A directory that was missing is then missing still; in
/// one that was there, what was unpacked before stays. Both paths are absolute.
void extract(const std::string& archivePath, const std::string& directory);

} // namespace platform::native::ditto
