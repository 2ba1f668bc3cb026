#pragma once

#include "platform/linux/posix/FileDescriptor.h"

#include <string>

namespace platform::native {

/// Where an item stands, or is to stand: an entry of an open folder.
struct ItemPlace {
    FileDescriptor folder; ///< For entries alone, not for reading.
    std::string name;
};

/// Opens the folder of the item at an absolute path; links on the way are followed, the last
/// component is not looked at. EINVAL for a path that is not absolute or names no entry of a folder
/// ("/", "..").
SystemResult<ItemPlace> findPlace(const std::string& path);

} // namespace platform::native
