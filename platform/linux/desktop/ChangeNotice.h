#pragma once

#include "platform/Workspace.h"

#include <string>

namespace platform::native {

/// Tells the file managers of the session, by the signals on its bus that some listen to, that an
/// item has changed and, of a directory, what is in it; others watch the disk themselves. Returns
/// when the bus has the signals, or after two seconds. Any thread may call it.
Result<void, WorkspaceStatus> announceChange(const std::string& path);

} // namespace platform::native
