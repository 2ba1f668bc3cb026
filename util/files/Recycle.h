#pragma once

#include "platform/foundation/Result.h"

#include <string>

namespace qf {

/// Moves an item into the user's Trash as the current user, and returns its path there: see
/// qf::Workspace::recycle().
Result<std::string> recycle(const std::string& path);

} // namespace qf
