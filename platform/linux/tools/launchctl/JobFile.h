#pragma once

#include "platform/foundation/Value.h"

#include <string>

namespace qf::native::launchctl {

/// Whether a job file must be safe to run programs from: the caller's own or root's, and writable
/// by nobody else.
enum class MustBeSafe { no, yes };

/// Returns the property list in a job file. Throws tool::ToolError if the file is missing, not
/// regular, not a property list, or not safe. Never blocks, whatever is at the path.
Value readJobFile(const std::string& path, MustBeSafe mustBeSafe);

} // namespace qf::native::launchctl
