#pragma once

#include "platform/linux/posix/Errno.h"
#include "platform/linux/posix/FileDescriptor.h"

#include <mutex>
#include <string>
#include <vector>

namespace qf::native {

/// The directories and files that volumes of any kind are mounted on, as this process sees them.
/// The kernel's table is read again only when it has changed. Any thread may call the members.
class MountTable {
public:
    /// Returns whether a volume is mounted on the item at a path without links, or inside it. Fails
    /// if the table cannot be read.
    SystemResult<bool> hasMountIn(const std::string& path);

    /// Returns whether a volume is mounted where no system call finds it by its path.
    SystemResult<bool> hasMountOnLongPath();

private:
    bool hasChanged() const;
    SystemResult<void> update();

    std::mutex mutex_;
    FileDescriptor table_;
    std::vector<std::string> mountPoints_; ///< sorted
};

} // namespace qf::native
