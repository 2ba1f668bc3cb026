#pragma once

#include "app/records/Undoing.h"

#include <string>

namespace start {

/// Returns what is shown while the item at the path is worked on: its name, and how far that is.
std::string itemOfAll(const std::string& path, records::Progress progress);

} // namespace start
