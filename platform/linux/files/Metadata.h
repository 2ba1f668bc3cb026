#pragma once

#include "platform/linux/posix/EntryRef.h"
#include "platform/linux/posix/Errno.h"

#include <sys/stat.h>

namespace qf::native {

/// Copies the owner, mode, extended attributes (including access control lists) and times of an
/// open item to its copy, which is open for writing or a directory. The owner and the group are
/// kept if the user may set them, otherwise the copy loses the set-user-ID or set-group-ID bit;
/// attributes are kept if the copy's volume supports their kind.
SystemResult<void> copyMetadata(int source, const struct statx& status, int copy);

/// Like copyMetadata(), for an entry that cannot be opened: a link, a FIFO, a socket, a device. Its
/// only extended attribute is that of copyAccessListToEntry().
SystemResult<void> copyMetadataToEntry(const struct statx& status, const EntryRef& entry);

/// Replaces the access control list of an entry, which is no link, inherited or not, by that of
/// another one, as far as possible. Its mode must be set afterwards.
void copyAccessListToEntry(const EntryRef& source, const EntryRef& copy);

/// Removes from a new item the access control lists inherited from its directory.
void dropInheritedAcls(int item);

} // namespace qf::native
