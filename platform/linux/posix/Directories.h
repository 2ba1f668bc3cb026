#pragma once

#include "platform/linux/posix/FileDescriptor.h"

#include <sys/types.h>

#include <string>

namespace platform::native {

/// Whether the path leads to a directory, through links as well.
bool isDirectory(const std::string& path);

/// Makes the directory at an absolute path and those that lead to it, where they are missing, each
/// with `mode` less the umask. A directory that exists is a success.
SystemResult<void> makeDirectories(const std::string& path, mode_t mode);

/// Waits until no other process, or thread, holds the directory, and holds it until the descriptor
/// is closed. Fails where the directory cannot be read or its volume has no locks.
SystemResult<FileDescriptor> lockedDirectory(const std::string& path);

} // namespace platform::native
