#pragma once

#include "platform/linux/posix/Errno.h"

#include <string>

namespace platform::native {

/// Gives the entry `name` of the open directory `source` the name `newName` in the open directory
/// `destination`. A link is moved itself. What stands there is never replaced: EEXIST. Where the
/// file system cannot promise that in one step, the name is claimed first, by a hard link or by an
/// empty item. On failure nothing has changed.
SystemResult<void> renameWithoutReplacing(int source, const std::string& name, int destination,
                                          const std::string& newName);

} // namespace platform::native
