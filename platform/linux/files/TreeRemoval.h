#pragma once

#include "platform/linux/files/CopyFingerprints.h"
#include "platform/linux/posix/Errno.h"

#include <string>

namespace platform::native {

/// Which items a removal may take away.
struct RemovalRules {
    /// These alone, where there are any: another item, or one that has changed, is EAGAIN.
    const CopyFingerprints* only = nullptr;
    /// Directories without permissions are made accessible first: all that is there is the user's
    /// own.
    bool unlocksDirectories = false;
};

/// Deletes the entry `name` of the open directory `parent`, with all that is in it.
///
/// Every step goes through the descriptor of the directory that it changes, so that a link, or a
/// directory that others put in the place of one that is being emptied, never leads outside the
/// entry. A volume mounted inside is not entered. The number of open descriptors is bounded, and
/// the memory for each level too, whatever the depth. The first thing that cannot be deleted ends
/// the work.
EntryResult<void> removeTree(int parent, const std::string& name, const RemovalRules& rules = {});

} // namespace platform::native
