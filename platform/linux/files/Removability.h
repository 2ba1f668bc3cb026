#pragma once

#include "platform/linux/posix/Errno.h"

#include <sys/stat.h>
#include <sys/types.h>

namespace qf::native {

/// Returns whether a directory lets each user delete only what is his own, and an item in it is
/// another's than this user's.
bool isKeptByDirectory(const struct statx& item, const struct statx& directory, uid_t user);

/// Checks that a user may delete an item, as far as its status shows and that of its directory,
/// which may be null: EPERM if the item is locked or its directory keeps it, EBUSY if it is the
/// root of a mounted volume.
SystemResult<void> checkRemovable(const struct statx& item, const struct statx* directory,
                                  uid_t user);

} // namespace qf::native
