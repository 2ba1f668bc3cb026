#pragma once

#include "platform/linux/posix/Errno.h"

#include <sys/stat.h>

#include <string>

namespace platform::native {

/// Copies the owner, mode, extended attributes (including access control lists) and times of an
/// open item to its copy, which is open for writing or a directory. The owner and the group are
/// kept if the user may set them, otherwise the copy loses the set-user-ID or set-group-ID bit;
/// attributes are kept if the copy's volume supports their kind.
SystemResult<void> copyMetadata(int source, const struct statx& status, int copy);

/// Like copyMetadata(), for the entry `name` of an open directory that cannot be opened: a link, a
/// FIFO, a socket, a device. Its only extended attribute is that of copyAccessListToEntry().
SystemResult<void> copyMetadataToEntry(const struct statx& status, int directory,
                                       const std::string& name);

/// Gives the entry `newName` of an open directory, which is no link, the access control list of the
/// entry `name` of another, as far as possible, instead of an inherited one. Its mode must be set
/// afterwards.
void copyAccessListToEntry(int source, const std::string& name, int directory,
                           const std::string& newName);

/// Removes from a new item the access control lists inherited from its directory.
void dropInheritedAcls(int item);

} // namespace platform::native
