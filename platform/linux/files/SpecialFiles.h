#pragma once

#include "platform/linux/posix/Errno.h"

#include <sys/stat.h>

#include <string>

namespace platform::native {

/// Returns the target of the link `name` in the open directory `directory`. EAGAIN if it is no
/// link.
SystemResult<std::string> readLink(int directory, const std::string& name);

/// Copies the entry `name` of the open directory `source`, which is a link, a FIFO, a socket or a
/// device of this status, to the entry `newName` of the open directory `destination`. An existing
/// item is never replaced: EEXIST. On failure nothing is left of the copy.
SystemResult<void> copyUnopened(int source, const std::string& name, const struct statx& status,
                                int destination, const std::string& newName);

} // namespace platform::native
