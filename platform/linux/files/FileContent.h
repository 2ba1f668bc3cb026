#pragma once

#include "platform/linux/files/CopyPair.h"
#include "platform/linux/posix/Errno.h"

#include <sys/stat.h>
#include <sys/types.h>

#include <vector>

namespace qf::native {

/// Copies and compares the contents of regular files. Use one object for a whole tree: it learns
/// which of the kernel's copy methods work there. Not shared between threads.
class FileContent {
public:
    /// Copies all of `source`, whose status is `status`, into the empty file `copy`. Blocks are
    /// shared if the file system supports that. If the source has holes, reads all of it and skips
    /// the blocks of zeros, because file systems do not report holes reliably.
    SystemResult<void> copy(int source, const struct statx& status, int copy);

    /// Compares the contents of two files. EIO if they differ.
    SystemResult<void> compare(int one, int other);

private:
    bool share(const CopyPair& files);
    off_t copyRanges(const CopyPair& files);
    SystemResult<void> copyBlocks(const CopyPair& files, off_t offset, bool withHoles);

    std::vector<char> block_;
    std::vector<char> otherBlock_;
    bool canShare_ = true;
    bool canCopyRanges_ = true;
};

} // namespace qf::native
