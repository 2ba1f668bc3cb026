#pragma once

namespace qf {

/// Returns whether the environment names a display, or a Qt platform to use instead.
bool isDisplayNamed();

/// Why there is no display if none is named.
inline constexpr const char* noDisplayNamed = "neither DISPLAY nor WAYLAND_DISPLAY is set";

} // namespace qf
