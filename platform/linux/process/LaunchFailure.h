#pragma once

#include "platform/ProcessLauncher.h"
#include "platform/foundation/Exception.h"

#include <string>

namespace platform::native {

/// Throws platform::Exception "NSInvalidArgumentException" when no system could launch what is
/// described: there is no launch path, a string holds a zero byte, or a variable of the environment
/// has a name that none can have.
void checkDescription(const ProcessDescription& description);

/// What to throw when the system refused, with error number `error`, to run `program`, the file
/// that was meant to be run for `launchPath`. The reason says what is wrong with the file where it
/// is the file's fault.
Exception launchFailure(int error, const std::string& launchPath, const std::string& program);

/// What to throw when the system has none of `what` ("pipe") left; `error` is its error number.
Exception resourceFailure(int error, const std::string& name, const std::string& what);

} // namespace platform::native
