#pragma once

#include "platform/foundation/Error.h"

#include <optional>
#include <string>

/// Moves an item into the user's Trash as the current user, and gives the Error if that fails.
[[nodiscard]] std::optional<platform::Error> recycle(const std::string& path);
