#pragma once

#include "platform/linux/posix/FileDescriptor.h"

#include <mutex>
#include <string>
#include <vector>

namespace platform::native {

/// The directories and files that volumes of any kind are mounted on, as this process sees them.
/// The kernel's table is read again only when it has changed. Any thread may call the members.
class MountTable {
public:
    /// Returns whether a volume is mounted on the item at a path without links, or inside it.
    /// Returns false if the table cannot be read.
    bool hasMountIn(const std::string& path);

private:
    bool hasChanged() const;

    std::mutex mutex_;
    FileDescriptor table_;
    std::vector<std::string> mountPoints_; ///< sorted
};

} // namespace platform::native
