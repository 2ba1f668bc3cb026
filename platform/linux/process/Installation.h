#pragma once

#include <string>

/// The location of the helper ("qf-helper") and the stand-ins for system tools ("tools") of the
/// installation that this code belongs to.
///
/// The directory is at a fixed place relative to the file that holds the code, the running program
/// or the shared library, and nothing else determines it. Build trees have the same layout.
namespace platform::native {

/// Returns the directory: an absolute path, or the empty string if the system does not report where
/// the code is. Any thread may call it.
std::string installationDirectory();

} // namespace platform::native
