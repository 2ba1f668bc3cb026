#pragma once

#include <string>

/// Stand-ins for system tools that the machine lacks, in a directory laid out by the tools' own
/// paths:
/// "<overlay>/bin/launchctl" stands in for "/bin/launchctl".
///
/// The directory belongs to the installation: no setting of a user or a parent process can change
/// it.
namespace qf::native {

/// Returns the path to run, or to test, for a tool: its stand-in if the overlay has one, a file
/// that the current user may execute, otherwise the path itself. Only absolute paths without "."
/// and ".." have stand-ins. Any thread may call it.
std::string resolveTool(const std::string& path);

/// Replaces the installation's overlay directory by another absolute path; the empty string means
/// no overlay. Returns the former one. For tests. Any thread may call it.
std::string setToolOverlay(std::string directory);

} // namespace qf::native
