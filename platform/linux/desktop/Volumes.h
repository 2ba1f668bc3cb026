#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace platform::native {

/// A local file system that stands in the tree of directories.
struct Volume {
    /// The directory that it stands at; any bytes, escapes of the mount table decoded.
    std::string mountPoint;
    /// What it was mounted from: a device's path, or any word.
    std::string source;
    /// The kernel's name for its type, such as "ext4".
    std::string type;
    dev_t device = 0;
};

/// The volumes that this process sees, in the order of the mount table, each mount point once with
/// what is visible there. Left out are file systems of other machines, those that only show what
/// the kernel knows, and single files that are mounted. None when the table cannot be read.
std::vector<Volume> mountedLocalVolumes();

} // namespace platform::native
