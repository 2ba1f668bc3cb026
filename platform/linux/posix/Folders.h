#pragma once

#include "platform/linux/posix/FileDescriptor.h"

#include <sys/types.h>

#include <string>

namespace platform::native {

/// Whether the path leads to a folder, through links as well.
bool isFolder(const std::string& path);

/// Makes the folder at an absolute path and those that lead to it, where they are missing, each
/// with `mode` less the umask. A folder that exists is a success.
SystemResult<void> makeFolders(const std::string& path, mode_t mode);

/// Waits until no other process, or thread, holds the folder, and holds it until the descriptor is
/// closed. Fails where the folder cannot be read or its volume has no locks.
SystemResult<FileDescriptor> lockedFolder(const std::string& path);

} // namespace platform::native
