#pragma once

#include "platform/linux/posix/FileDescriptor.h"

#include <sys/stat.h>

#include <cstdint>
#include <string>

namespace platform::native {

/// Tells an inode from every other of the machine.
struct FileId {
    std::uint32_t deviceMajor = 0;
    std::uint32_t deviceMinor = 0;
    std::uint64_t inode = 0;
    auto operator<=>(const FileId&) const = default; // NOLINT: it takes the 0 for a pointer.
};

FileId fileIdOf(const struct statx& status);

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
