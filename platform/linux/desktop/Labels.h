#pragma once

#include "platform/foundation/Result.h"

#include <optional>
#include <string>

namespace platform::native {

/// The label of an item, 0 to 7, from the extended attribute "user.com.apple.FinderInfo": 32 bytes
/// of which bits 1 to 3 of the big-endian number in bytes 8 and 9 are the label. 0 where the item
/// has no such attribute; nothing where it is missing or can have none, as a link.
std::optional<int> readLabel(const std::string& path);

/// Changes the label, 0 to 7, and leaves the other bits as they are. An attribute that would say
/// nothing any more goes.
Result<void> writeLabel(const std::string& path, int label);

} // namespace platform::native
