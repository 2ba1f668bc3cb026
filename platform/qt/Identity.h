#pragma once

namespace platform::qt {

/// The application's name, as the desktop, its lock and its messages know it.
inline constexpr const char* applicationName = "kelvane-uninstaller";

} // namespace platform::qt
