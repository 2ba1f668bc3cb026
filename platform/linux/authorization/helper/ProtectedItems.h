#pragma once

#include "platform/linux/authorization/helper/Walk.h"
#include "platform/linux/posix/FileDescriptor.h"

#include <sys/types.h>

#include <set>
#include <string>

namespace qf::native::helper {

/// What no tool may take away: the top-level directories, every account's home directory, every
/// mount point, and every directory and link on the way to one of them. They are known by device
/// and inode, so that no spelling hides them.
class ProtectedItems {
public:
    /// The user is one whose home directory is known whether or not the accounts can
    /// be listed. Throws a Refusal.
    explicit ProtectedItems(uid_t user);

    /// Whether an item is one of them. They are looked for again only when something has been
    /// mounted or unmounted since. Throws a Refusal.
    bool contain(const Item& item);

private:
    void findAll();
    void add(const std::string& path);
    void addTopLevel();
    void addHomes(uid_t user);
    void addMountPoints();

    const uid_t user_;
    /// Tells when the mount points change.
    FileDescriptor mounts_;
    bool areFound_ = false;
    std::set<FileId> identities_;
};

} // namespace qf::native::helper
