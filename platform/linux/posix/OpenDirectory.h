#pragma once

#include "platform/foundation/FileId.h"
#include "platform/linux/posix/FileDescriptor.h"

#include <sys/stat.h>

#include <string>

namespace qf::native {

/// The same for one item, whichever of the two calls its status comes from.
FileId fileIdOf(const struct statx& status);
FileId fileIdOf(const struct stat& status);

/// Opens the directory `name` of the open directory `parent` for reading. A link is not followed.
SystemResult<FileDescriptor> openDirectory(int parent, const char* name);

/// Opens the parent of an open directory for reading. ESTALE if it is not `expected`, because
/// others have moved the lower one elsewhere.
SystemResult<FileDescriptor> openDirectoryAbove(int directory, const FileId& expected);

/// Returns the basic status of an open item, and whether it is the root of a mounted volume.
SystemResult<struct statx> statusOf(int item);

/// Like statusOf(), for an entry of an open directory; for a link, its own.
SystemResult<struct statx> statusOfEntry(int directory, const std::string& name);

} // namespace qf::native
