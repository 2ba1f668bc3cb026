#pragma once

#include "platform/linux/posix/EntryRef.h"
#include "platform/linux/posix/Errno.h"

#include <sys/stat.h>

#include <string>

namespace qf::native {

/// Returns the target of a link. EAGAIN if it is no link.
SystemResult<std::string> readLink(const EntryRef& link);

/// Copies an entry, which is a link, a FIFO, a socket or a device of this status. An existing item
/// at the destination is never replaced: EEXIST. On failure the copy may be left without its
/// metadata: it is to be made where nobody sees it.
SystemResult<void> copyUnopened(const EntryRef& source, const struct statx& status,
                                const EntryRef& destination);

} // namespace qf::native
