#pragma once

#include "platform/linux/posix/EntryRef.h"
#include "platform/linux/posix/Errno.h"

namespace qf::native {

/// Renames an entry to another one, on the same volume. A link is moved itself. An existing item at
/// the destination is never replaced: EEXIST. If the file system cannot guarantee that in one step,
/// the name is claimed first, by a hard link or by an empty item. On failure nothing has changed.
SystemResult<void> renameWithoutReplacing(const EntryRef& source, const EntryRef& destination);

} // namespace qf::native
