#pragma once

#include "platform/linux/posix/Errno.h"

#include <string>

namespace platform::native {

/// Copies the entry `name` of the open directory `source` with all that is in it, as
/// platform::FileSystem::copyItem() says, to the name `newName` in the open directory
/// `destination`. The copy of a file or directory grows under a hidden name there. EINVAL means
/// that the destination is inside the item, EEXIST that its name is taken; names that the volume
/// cannot hold are nameNotAllowed and nameNotDistinct.
EntryResult<void> copyItem(int source, const std::string& name, int destination,
                           const std::string& newName);

/// Moves an entry, as platform::FileSystem::moveItem() says. Whether that needs a copy is found out
/// by the attempt to rename. An item of which a part could not be removed afterwards is not copied
/// at all. Failures are those of copyItem().
EntryResult<void> moveItem(int source, const std::string& name, int destination,
                           const std::string& newName);

} // namespace platform::native
