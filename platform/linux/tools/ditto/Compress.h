#pragma once

#include <string>

namespace platform::native::ditto {

/// Whether a directory's own name is part of the names in its archive.
enum class KeepParent { no, yes };

/// Makes a zip archive of a file, or of a directory with all that is in it.
///
/// Names are kept in UTF-8, with modes, times in whole seconds, and links as links; only `source`
/// itself is followed. It sets the locale's encoding as it needs it: no other thread runs. Without
/// KeepParent::yes the archive of a directory begins with what is in it. A file of another kind, an
/// item that cannot be read, and a file that is cut short meanwhile end the work. Both paths are
/// absolute. The archive takes the place of what stands at its path when it is complete and on
/// disk; a failure, a ToolError, leaves nothing new there.
void compress(const std::string& source, const std::string& archivePath, KeepParent keepParent);

} // namespace platform::native::ditto
