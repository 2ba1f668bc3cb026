#pragma once

#include "platform/linux/posix/FileDescriptor.h"

#include <string>

namespace platform::native {

/// Where an item stands, or is to stand: an entry of an open directory.
struct ItemPlace {
    FileDescriptor directory; ///< For entries alone, not for reading.
    std::string name;
};

/// Opens the directory of the item at an absolute path; links on the way are followed, the last
/// component is not looked at. EINVAL for a path that is not absolute or names no entry of a
/// directory
/// ("/", "..").
SystemResult<ItemPlace> findPlace(const std::string& path);

} // namespace platform::native
