#pragma once

#include "platform/linux/posix/Errno.h"

#include <string>

namespace platform::native {

/// Renames the entry `name` of the open directory `source` to `newName` in the open directory
/// `destination`. A link is moved itself. An existing item there is never replaced: EEXIST. If the
/// file system cannot guarantee that in one step, the name is claimed first, by a hard link or by
/// an empty item. On failure nothing has changed.
SystemResult<void> renameWithoutReplacing(int source, const std::string& name, int destination,
                                          const std::string& newName);

} // namespace platform::native
