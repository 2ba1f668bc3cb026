#pragma once

#include "platform/linux/posix/FileDescriptor.h"
#include "platform/linux/posix/OpenDirectory.h"

#include <map>
#include <string>
#include <vector>

namespace qf::native {

/// The items with several names, directories excepted, that a copy of a tree has met, so that their
/// copies become hard links of each other. Not shared between threads.
class CopiedLinks {
public:
    /// `top` is the tree's copy; it must outlive this.
    explicit CopiedLinks(const FileDescriptor& top) : top_(top) {}

    /// Remembers the copy, at the path below the top, of an item.
    void remember(const struct statx& source, const struct statx& copy,
                  std::vector<std::string> path);

    /// Makes the entry `name` of the open directory `destination` a hard link to the copy of the
    /// item under another name. Returns false if there is no such copy, the item has changed since,
    /// or linking fails: the item must then be copied like any other.
    bool link(const struct statx& source, int destination, const std::string& name) const;

private:
    struct CopiedItem {
        std::vector<std::string> path; ///< From the top, the item's name last.
        FileId copy;
        struct statx source;
    };

    const FileDescriptor& top_;
    std::map<FileId, CopiedItem> items_;
};

} // namespace qf::native
