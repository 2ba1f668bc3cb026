#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace platform::qt {

/// Writes the one line that a person reads on standard error when the application cannot start.
void reportStartUpFailure(std::string_view reason);

/// Whether the environment names a display, or what Qt shows windows on in its place.
bool isDisplayNamed();

/// What is done, with the reason, where there is no display.
using WithoutDisplay = std::function<void(const std::string&)>;

} // namespace platform::qt
