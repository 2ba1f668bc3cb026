#pragma once

#include "platform/foundation/Result.h"

#include <string>

/// Moves an item into the user's Trash as the current user, and returns its path there: see
/// platform::Workspace::recycle().
platform::Result<std::string> recycle(const std::string& path);
