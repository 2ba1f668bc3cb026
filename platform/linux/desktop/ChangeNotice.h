#pragma once

#include "platform/Workspace.h"

#include <string>

namespace qf::native {

/// Notifies the file managers of the session, by the session bus signals that some listen to, that
/// an item, and the contents of a directory, have changed; other file managers watch the disk
/// themselves. Returns when the bus has accepted the signals, or after two seconds. Any thread may
/// call it.
Result<void, WorkspaceStatus> announceChange(const std::string& path);

} // namespace qf::native
