#pragma once

#include "platform/FileSystem.h"
#include "platform/foundation/Date.h"
#include "platform/linux/posix/Errno.h"

#include <optional>
#include <string>

namespace qf::native {

/// Returns the creation date that was set for an item of this kind, which the file system cannot
/// store itself; nullopt if none was set or the stored value is not a date. A final link is not
/// followed. docs/attributes.md describes how it is stored.
std::optional<Date> storedCreationDate(const std::string& path, ItemKind kind);

/// Stores the creation date of an item; links are followed. EOVERFLOW for one that is beyond every
/// Date.
SystemResult<void> storeCreationDate(const std::string& path, FileDate date);

} // namespace qf::native
