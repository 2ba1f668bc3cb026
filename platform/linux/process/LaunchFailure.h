#pragma once

#include "platform/ProcessLauncher.h"
#include "platform/foundation/Exception.h"
#include "platform/linux/posix/Errno.h"

#include <string>

namespace qf::native {

/// Throws qf::Exception "NSInvalidArgumentException" if no system could launch what is
/// described: the launch path is missing, a string contains a zero byte, or an environment variable
/// has an invalid name.
void checkDescription(const ProcessDescription& description);

/// Returns the exception for a failure to run `program`, the file chosen for `launchPath`. The
/// reason says what is wrong with the file if the file is at fault.
Exception launchFailure(Errno error, const std::string& launchPath, const std::string& program);

/// Returns the exception, of name `name`, for a system that has no `what` ("pipe") left.
Exception resourceFailure(Errno error, const std::string& name, const std::string& what);

} // namespace qf::native
