#pragma once

#include "platform/linux/files/MovedItems.h"
#include "platform/linux/posix/Errno.h"

#include <string>

namespace qf::native {

/// Which items a removal may delete.
struct RemovalRules {
    /// If not null, only these items: any other, or one that has changed, is EAGAIN.
    MovedItems* only = nullptr;
    /// Whether to delete what the rules allow, or only to check that they allow everything.
    bool deletes = true;
    /// Makes directories without permissions accessible first: everything there is the user's own.
    bool unlocksDirectories = false;
};

/// Deletes the entry `name` of the open directory `parent`, with all its contents.
///
/// Every step uses the descriptor of the directory that it changes, so that a link, or a directory
/// that others put in the place of one being emptied, never leads outside the entry. A volume
/// mounted inside is not entered. The number of open descriptors and the memory for each level are
/// bounded, whatever the depth. Stops at the first item that cannot be deleted.
EntryResult<void> removeTree(int parent, const std::string& name, const RemovalRules& rules = {});

} // namespace qf::native
