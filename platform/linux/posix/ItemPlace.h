#pragma once

#include "platform/linux/posix/EntryRef.h"
#include "platform/linux/posix/FileDescriptor.h"

#include <string>

namespace qf::native {

/// The place of an existing or future item: an entry of an open directory.
struct ItemPlace {
    FileDescriptor directory; ///< For looking up entries only, not for reading.
    std::string name;

    EntryRef entry() const { return {directory.get(), name}; }
};

/// Opens the directory of the item at an absolute path; links on the way are followed, the last
/// component is not examined. EINVAL for a path that is not absolute, contains a zero byte or does
/// not name an entry of a directory ("/", "..").
SystemResult<ItemPlace> findPlace(const std::string& path);

} // namespace qf::native
