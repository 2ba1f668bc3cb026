#pragma once

#include <string>

namespace qf::native::ditto {

/// Whether a directory's own name is part of the names in its archive.
enum class KeepParent { no, yes };

/// Makes a zip archive of a file, or of a directory with all its contents.
///
/// Stores names in UTF-8, modes, times in whole seconds, and links as links; only `source` itself
/// is followed. Sets the locale's encoding as needed, so no other thread may run. Without
/// KeepParent::yes the archive of a directory begins with its contents. Fails for a file of another
/// kind, an item that cannot be read, and a file that is truncated meanwhile. Both paths are
/// absolute. The archive replaces an existing item at its path when it is complete and on disk; a
/// failure, a ToolError, leaves nothing new there.
void compress(const std::string& source, const std::string& archivePath, KeepParent keepParent);

} // namespace qf::native::ditto
