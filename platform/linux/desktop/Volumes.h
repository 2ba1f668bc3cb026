#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace qf::native {

/// A mounted local file system.
struct Volume {
    /// The directory that it is mounted on; any bytes, escapes of the mount table decoded.
    std::string mountPoint;
    /// The source it was mounted from: a device's path, or any word.
    std::string source;
    /// The kernel's name of its type, such as "ext4".
    std::string type;
    dev_t device = 0;
};

/// Returns the volumes that this process sees, in the order of the mount table, each mount point
/// once with the volume that is visible there. File systems of other machines, pseudo file systems
/// of the kernel, and mounts on single files are left out. Returns an empty list if the table
/// cannot be read.
std::vector<Volume> mountedLocalVolumes();

} // namespace qf::native
