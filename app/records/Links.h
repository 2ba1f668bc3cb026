#pragma once

#include <string>
#include <vector>

namespace records {

/// Returns the paths of the links on the way to the item at an absolute path. The item itself is
/// not examined.
std::vector<std::string> linksTo(const std::string& itemPath);

} // namespace records
