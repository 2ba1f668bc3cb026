#pragma once

#include "platform/foundation/Exception.h"

#include <string>
#include <string_view>

/// Handling of exceptions where they are caught.
class QFException {
public:
    QFException() = delete;

    /// The reason of an exception of a type that has none.
    static constexpr const char* unknownReason = "An exception that tells no reason";

    /// Logs and prints "Exception in METHOD. NAME - REASON." and returns that text. The text is
    /// used as a format, so a "%" in a reason may be lost; this is intended.
    static std::string logException(const qf::Exception& exception, std::string_view forMethod);

    /// Returns whether the exception means that a call to another process took too long: its name
    /// is "NSPortTimeoutException".
    static bool didTimeout(const qf::Exception& exception);
};

namespace qf {

/// Logs and prints the reason of an uncaught exception, and returns once it is in the file.
void uncaughtExceptionHandler(const Exception& exception);

/// Arranges for uncaughtExceptionHandler() to be called, on the throwing thread, for every uncaught
/// exception, before the previous handler (std::get_terminate) ends the process. An exception that
/// is not a qf::Exception is logged with its own description. Call it once.
void setUncaughtExceptionHandler();

} // namespace qf
