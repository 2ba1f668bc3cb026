#pragma once

#include "platform/linux/authorization/helper/Walk.h"

#include <set>
#include <string>
#include <utility>

namespace platform::native::helper {

/// What no tool may take away: the top-level directories, every account's home directory, every
/// mount point, and every directory and link on the way to one of them. They are known by device
/// and inode, so that no spelling hides them.
class ProtectedItems {
public:
    /// Looks for them. The user is one whose home directory is known whether or not the accounts
    /// can be listed. Throws a Refusal.
    explicit ProtectedItems(uid_t user);

    bool contain(const Item& item) const { return identities_.contains(item.identity()); }

private:
    void add(const std::string& path);
    void addTopLevel();
    void addHomes(uid_t user);
    void addMountPoints();

    std::set<decltype(std::declval<Item>().identity())> identities_;
};

} // namespace platform::native::helper
