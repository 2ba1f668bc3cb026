#pragma once

#include "platform/foundation/Value.h"

#include <string>

namespace platform::native::launchctl {

/// Whether a job file must be safe to run programs from: the caller's own or root's, and writable
/// by nobody else.
enum class MustBeSafe { no, yes };

/// The property list in a job file. Throws tool::ToolError when there is none: no file, no regular
/// file, no property list, or one that is not safe. Never waits for what stands at the path.
Value readJobFile(const std::string& path, MustBeSafe mustBeSafe);

} // namespace platform::native::launchctl
