#pragma once

#include <string>

/// Stand-ins for system tools that the machine lacks, in a directory laid out by the tools' own
/// paths:
/// "<overlay>/bin/launchctl" stands in for "/bin/launchctl".
///
/// The directory belongs to the installation, and nothing that a user or a parent process can set
/// leads elsewhere.
namespace platform::native {

/// The path to run, or to test, for a tool: its stand-in where the overlay has one, a file that the
/// current user may run, otherwise the path itself. Only absolute paths without "." and ".." have a
/// stand-in. Any thread may call it.
std::string resolveTool(const std::string& path);

/// Puts another overlay directory, an absolute path, in place of the installation's; the empty
/// string stands for no overlay at all. Gives the former one. For tests. Any thread may call it.
std::string setToolOverlay(std::string directory);

} // namespace platform::native
