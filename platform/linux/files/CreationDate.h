#pragma once

#include "platform/FileSystem.h"
#include "platform/foundation/Date.h"
#include "platform/linux/posix/Errno.h"

#include <optional>
#include <string>

namespace platform::native {

/// The creation date that was set for an item of this kind, which the file system cannot keep
/// itself; nothing where none was set, or where what stands there is no date. A final link is not
/// followed. docs/attributes.md tells how it is stored.
std::optional<Date> storedCreationDate(const std::string& path, ItemKind kind);

/// Sets it; links are followed.
SystemResult<void> storeCreationDate(const std::string& path, Date date);

} // namespace platform::native
