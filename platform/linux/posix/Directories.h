#pragma once

#include "platform/linux/posix/FileDescriptor.h"

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

namespace qf::native {

/// Returns whether the path is a directory; links are followed.
bool isDirectory(const std::string& path);

/// Creates the directory at an absolute path and any missing parents, each with `mode` less the
/// umask. An existing directory is a success.
SystemResult<void> makeDirectories(const std::string& path, mode_t mode);

/// Opens the directory at an absolute path for looking up entries only. Follows a link on the way,
/// and at its end, only if the path of the link is among `links`; any other is ENOTDIR. Creates
/// missing directories with `mode` less the umask if one is given.
SystemResult<FileDescriptor> openThroughLinks(const std::string& path,
                                              const std::vector<std::string>& links,
                                              std::optional<mode_t> mode);

/// Locks a directory until the returned descriptor is closed, waiting for any other process or
/// thread that holds the lock. Fails if the directory cannot be read or its volume has no locks.
SystemResult<FileDescriptor> lockedDirectory(const std::string& path);

} // namespace qf::native
