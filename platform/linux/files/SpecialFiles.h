#pragma once

#include "platform/linux/posix/Errno.h"

#include <sys/stat.h>

#include <string>

namespace platform::native {

/// Makes the entry `newName` of the open directory `destination` a copy of the entry `name` of
/// `source`, which is a link, a FIFO, a socket or a device of this status. An existing item is
/// never replaced: EEXIST. After a failure nothing is left of the copy.
SystemResult<void> copyUnopened(int source, const std::string& name, const struct statx& status,
                                int destination, const std::string& newName);

} // namespace platform::native
