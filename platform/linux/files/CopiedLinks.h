#pragma once

#include "platform/linux/posix/FileDescriptor.h"
#include "platform/linux/posix/OpenDirectory.h"

#include <map>
#include <string>
#include <vector>

namespace platform::native {

/// The files of several names that a copy of a tree has come by, so that their copies become hard
/// links of each other. Not shared between threads.
class CopiedLinks {
public:
    /// `top` is the tree's copy; it outlives this.
    explicit CopiedLinks(const FileDescriptor& top) : top_(top) {}

    /// Remembers the copy, an open file at the path below the top, of the file that `source` tells.
    SystemResult<void> remember(const FileId& source, const FileDescriptor& copy,
                                std::vector<std::string> path);

    /// Where the file has been copied under another name, makes the entry `name` of the open
    /// directory `destination` a hard link to that copy. False where that cannot be done: the file
    /// is then to be copied like any other.
    bool link(const FileId& source, int destination, const std::string& name) const;

private:
    struct CopiedFile {
        std::vector<std::string> path; ///< From the top, the file's name last.
        FileId copy;
    };

    const FileDescriptor& top_;
    std::map<FileId, CopiedFile> files_;
};

} // namespace platform::native
