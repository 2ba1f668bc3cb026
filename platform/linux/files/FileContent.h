#pragma once

#include "platform/linux/posix/Errno.h"

#include <sys/stat.h>
#include <sys/types.h>

#include <vector>

namespace platform::native {

/// Copies and compares what regular files hold. One object serves a whole tree: it learns which of
/// the kernel's ways to copy work there. Not shared between threads.
class FileContent {
public:
    /// Copies all of `source`, whose status is given, into the empty file `copy`. Blocks are shared
    /// where the file system can do that. Where the source has holes, all of it is read, and the
    /// blocks of zeros are left out: what a file system tells about holes is not relied on.
    SystemResult<void> copy(int source, const struct statx& status, int copy);

    /// Compares what two files hold. EIO when it is not the same.
    SystemResult<void> compare(int one, int other);

private:
    bool share(int source, int copy);
    off_t copyRanges(int source, int copy);
    SystemResult<void> copyBlocks(int source, int copy, off_t offset, bool withHoles);

    std::vector<char> block_;
    std::vector<char> otherBlock_;
    bool canShare_ = true;
    bool canCopyRanges_ = true;
};

} // namespace platform::native
