#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace qf::qt {

/// Writes the one line on standard error that tells the user why the application cannot start.
void reportStartUpFailure(std::string_view reason);

/// Called with the reason if there is no display.
using WithoutDisplay = std::function<void(const std::string&)>;

} // namespace qf::qt
