#pragma once

#include <string>

/// Where the files of an installation are. Each directory is at a fixed place relative to the
/// program's file or the shared library's, and nothing else determines it. Build trees have the
/// same layout. Any thread may call these functions; they return absolute paths, or the empty
/// string if the system does not report where the file is.
namespace qf::native {

/// Returns the directory of the utility layer's helper ("qf-helper") and stand-ins for system tools
/// ("tools"), of the installation that this code belongs to: the shared library's, or the program's
/// if the program holds the code.
std::string installationDirectory();

/// Returns the directory at this path relative to that of the running program.
std::string directoryBesideProgram(const std::string& path);

} // namespace qf::native
