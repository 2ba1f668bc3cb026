#pragma once

#include "platform/linux/posix/Errno.h"

#include <string>

namespace platform::native {

/// Copies the entry `name` of the open directory `source` with all its contents, as
/// platform::FileSystem::copyItem() does, to the name `newName` in the open directory
/// `destination`. The copy of a file or directory is made under a hidden name there. EINVAL means
/// that the destination is inside the item, EEXIST that the name is taken; nameNotAllowed and
/// nameNotDistinct, that the volume cannot hold a name.
EntryResult<void> copyItem(int source, const std::string& name, int destination,
                           const std::string& newName);

/// Moves an entry, as platform::FileSystem::moveItem() does. Copies only if the attempt to rename
/// shows that this is needed, and only if all of the item could be removed afterwards. If a process
/// was killed while it removed the item after copying, removes what is left of it. Errors are those
/// of copyItem().
EntryResult<void> moveItem(int source, const std::string& name, int destination,
                           const std::string& newName);

} // namespace platform::native
