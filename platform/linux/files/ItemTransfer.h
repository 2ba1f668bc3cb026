#pragma once

#include "platform/linux/posix/EntryRef.h"
#include "platform/linux/posix/Errno.h"

namespace qf::native {

/// Copies an entry with all its contents, as qf::FileSystem::copyItem() does. The copy of a
/// file or directory is made under a hidden name in the directory of the destination. EINVAL means
/// that the destination is inside the item, EEXIST that the name is taken; nameNotAllowed and
/// nameNotDistinct, that the volume cannot hold a name.
EntryResult<void> copyItem(const EntryRef& source, const EntryRef& destination);

/// Moves an entry, as qf::FileSystem::moveItem() does. Copies only if the attempt to rename
/// shows that this is needed, and only if all of the item could be removed afterwards. If a process
/// was killed while it removed the item after copying, removes what is left of it. If removing
/// fails after copying it is tried once more; then what is left stays. Errors are those of
/// copyItem().
EntryResult<void> moveItem(const EntryRef& source, const EntryRef& destination);

/// Returns whether a process was killed in the middle of a move of an entry to another volume, and
/// all that is left of the entry is at the destination too.
bool isMoveUnfinished(const EntryRef& source, const EntryRef& destination);

/// If a process was killed while it removed an entry that it had copied, as moveItem() does,
/// removes what is left of it. EEXIST, and nothing is changed, if that is not how the two came
/// about.
EntryResult<void> finishMove(const EntryRef& source, const EntryRef& destination);

} // namespace qf::native
