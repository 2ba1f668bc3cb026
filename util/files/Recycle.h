#pragma once

#include "platform/foundation/Result.h"

#include <string>

/// Moves an item into the user's Trash as the current user.
platform::Result<std::string> recycle(const std::string& path);
