#pragma once

#include <string>

namespace qf::native::ditto {

/// What to unpack, and where: absolute paths.
struct Extraction {
    std::string archivePath;
    std::string directory;
};

/// Unpacks a zip archive into a directory.
///
/// Restores modes, except the set-user-ID and set-group-ID bits, times and links. A missing
/// directory is created, and appears when it is complete; entries are merged into an existing one.
/// Throws ToolError for an entry that would leave the directory, by an absolute path, by ".." or
/// through a link, one that is not a file, directory or link, one whose declared size exceeds the
/// space on the volume, one whose content does not match the archive, and for an archive that is
/// damaged in any way. On failure a missing directory is still missing; an existing one keeps what
/// was already unpacked.
void extract(const Extraction& extraction);

} // namespace qf::native::ditto
