#pragma once

#include <string>

/// Where the installation that this code belongs to keeps its helper ("qf-helper") and its
/// stand-ins for system tools ("tools").
///
/// The directory lies at a fixed place beside the file that holds the code, the running program or
/// the shared library, and nothing else decides where. Build trees are laid out alike.
namespace platform::native {

/// The directory: an absolute path, or the empty string when the system does not tell where the
/// code lies. Any thread may call it.
std::string installationDirectory();

} // namespace platform::native
