#pragma once

#include "platform/linux/posix/Errno.h"

#include <sys/stat.h>

#include <string>

namespace platform::native {

/// Gives a copy that is open for writing, or is a directory, the owner, mode, extended attributes
/// (access control lists are some) and times of the open item that it was made of. The owner and
/// the group are kept where the user may give them away, else the copy runs as nobody but its own
/// owner; attributes are kept where the copy's volume has their kind.
SystemResult<void> copyMetadata(int source, const struct statx& status, int copy);

/// The same for the entry `name` of an open directory that cannot be opened: a link, a FIFO, a
/// socket, a device. It has no extended attributes.
SystemResult<void> copyMetadataToEntry(const struct statx& status, int directory,
                                       const std::string& name);

/// Takes from a new item the access control lists that it has from the directory that it was made
/// in.
void dropInheritedAcls(int item);

} // namespace platform::native
