#pragma once

#include "platform/foundation/Result.h"

#include <optional>
#include <string>

namespace qf::native {

/// Returns the label of an item, 0 to 7, from the extended attribute "user.com.apple.FinderInfo":
/// 32 bytes of which bits 1 to 3 of the big-endian number in bytes 8 and 9 are the label. Returns 0
/// if the item has no such attribute, and nullopt if it is missing or cannot have one, such as a
/// link.
std::optional<int> readLabel(const std::string& path);

/// Sets the label, 0 to 7, and leaves the other bits unchanged. Removes an attribute that would be
/// all zeros.
Result<void> writeLabel(const std::string& path, int label);

} // namespace qf::native
