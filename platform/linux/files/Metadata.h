#pragma once

#include "platform/linux/posix/EntryRef.h"
#include "platform/linux/posix/Errno.h"

#include <sys/stat.h>

namespace platform::native {

/// Copies the owner, mode, extended attributes (including access control lists) and times of an
/// open item to its copy, which is open for writing or a directory. The owner and the group are
/// kept if the user may set them, otherwise the copy loses the set-user-ID or set-group-ID bit;
/// attributes are kept if the copy's volume supports their kind.
SystemResult<void> copyMetadata(int source, const struct statx& status, int copy);

/// Like copyMetadata(), for an entry that cannot be opened: a link, a FIFO, a socket, a device. Its
/// only extended attribute is that of copyAccessListToEntry().
SystemResult<void> copyMetadataToEntry(const struct statx& status, const EntryRef& entry);

/// Gives an entry, which is no link, the access control list of another one, as far as possible,
/// instead of an inherited one. Its mode must be set afterwards.
void copyAccessListToEntry(const EntryRef& source, const EntryRef& copy);

/// Removes from a new item the access control lists inherited from its directory.
void dropInheritedAcls(int item);

} // namespace platform::native
