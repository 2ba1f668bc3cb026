#pragma once

#include "platform/foundation/FileId.h"
#include "platform/linux/posix/FileDescriptor.h"

#include <sys/stat.h>

#include <string>

namespace platform::native {

/// The same for one item, whichever of the two calls its status comes from.
FileId fileIdOf(const struct statx& status);
FileId fileIdOf(const struct stat& status);

/// Opens the directory `name` of the open directory `parent` for reading. A link is not followed.
SystemResult<FileDescriptor> openDirectory(int parent, const char* name);

/// Opens the directory above an open one for reading, which must be `expected`: others may have
/// moved the lower one elsewhere, which is ESTALE.
SystemResult<FileDescriptor> openDirectoryAbove(int directory, const FileId& expected);

/// The basic status of an open item, and whether it is the root of a mounted volume.
SystemResult<struct statx> statusOf(int item);

/// As statusOf(), of an entry of an open directory; a link's own.
SystemResult<struct statx> statusOfEntry(int directory, const std::string& name);

} // namespace platform::native
