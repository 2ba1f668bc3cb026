#pragma once

#include "platform/linux/files/CopyFingerprints.h"
#include "platform/linux/files/FileContent.h"
#include "platform/linux/posix/Errno.h"
#include "platform/linux/posix/FileDescriptor.h"

#include <sys/stat.h>

#include <functional>
#include <string>
#include <vector>

namespace qf::native {

/// Tells which items of a moved tree have their copies, so that they may be deleted. Not shared
/// between threads.
class MovedItems {
public:
    /// The names on the way to an item from the top of its tree, its own last; empty for the top.
    using Names = std::vector<std::string>;

    /// The copy is the entry `newName` of the open directory `destination`. `copied` is null if
    /// another process has made the copy; all three must outlive this.
    MovedItems(int destination, const std::string& newName, const CopyFingerprints* copied)
        : destination_(destination), newName_(newName), copied_(copied) {}

    /// Checks that an item, the entry `name` of the open directory `directory`, has its copy:
    /// EAGAIN if not. An item whose fingerprint is known has one. An item of which only the
    /// identity is not known is compared with what the copy has at its place, and so is every item
    /// of a copy that another process has made.
    SystemResult<void> check(int directory, const std::string& name, const struct statx& status,
                             const std::function<Names()>& names);

private:
    /// An item that is compared, and what the copy has at its place.
    struct Pair {
        int directory;
        const std::string& name;
        const struct statx& status;
        int copyDirectory;
        const std::string& copyName;
    };

    SystemResult<FileDescriptor> directoryOfCopy(const Names& names) const;
    SystemResult<void> compare(const Pair& pair);
    SystemResult<void> compareFiles(const Pair& pair);

    int destination_;
    const std::string& newName_;
    const CopyFingerprints* copied_;
    FileContent content_;
};

} // namespace qf::native
