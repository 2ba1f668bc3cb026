#pragma once

#include "platform/linux/posix/FileDescriptor.h"
#include "platform/linux/posix/OpenDirectory.h"

#include <sys/stat.h>
#include <sys/types.h>

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace qf::native::helper {

/// Something in the file system, held so that it stays the same whatever becomes of its name.
struct Item {
    FileDescriptor descriptor;
    struct statx status {};

    bool isDirectory() const { return S_ISDIR(status.stx_mode); }
    bool isLink() const { return S_ISLNK(status.stx_mode); }

    /// Whether others than root may change it. An access list counts: its mask shows as the group's
    /// bits.
    bool isChangeable() const {
        return status.stx_uid != 0 || (!isLink() && (status.stx_mode & (S_IWGRP | S_IWOTH)) != 0);
    }
    bool isEverybodys() const { return (status.stx_mode & S_IWOTH) != 0; }
    FileId identity() const { return fileIdOf(status); }
};

/// Opens what is in a directory under a name, a link itself. No server is asked and nothing is
/// mounted on the way, so that a dead one cannot keep the helper waiting. Throws a Refusal when the
/// system has no memory or descriptor left: what cannot be looked at may exist all the same.
SystemResult<Item> openItem(int directory, const std::string& name);

/// Like openItem, for who does not ask why it fails.
std::optional<Item> findItem(int directory, const std::string& name);

/// What a path leads to.
struct Way {
    Item end;
    /// The owners of the directories from where the way could have been led elsewhere: each has a
    /// link or ".." on the way that others than root may have put there. Root means everybody.
    std::vector<uid_t> redirectors;
    /// Whether each link on the way is root's, in a directory that only root may change, and each
    /// ".." is in such a directory.
    bool isRoots = true;

    /// Whether nobody but the owner of its end could have led it elsewhere, who could have done the
    /// same harm without a link. A directory's group is trusted as its owner is.
    bool isOwners() const;
};

using Visitor = std::function<void(const Item&)>;

/// Walks from the root to what an absolute path leads to, following every link, the last one too,
/// and shows `visit` each directory, link and file that it comes by. Returns nullopt if it cannot
/// be reached; throws as openItem.
std::optional<Way> walk(
    std::string_view path, const Visitor& visit = [](const Item&) {});

} // namespace qf::native::helper
