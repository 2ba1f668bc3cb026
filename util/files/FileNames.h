#pragma once

#include <string>

namespace qf {

/// Returns the first path at which no item exists among those made by adding a space and a number,
/// from 2 upwards, to `path` before its extension.
std::string numberedFilename(const std::string& path);

} // namespace qf
