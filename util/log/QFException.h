#pragma once

#include "platform/foundation/Exception.h"

#include <string>
#include <string_view>

/// What a catch site does with an exception.
class QFException {
public:
    QFException() = delete;

    /// Logs and prints "Exception in METHOD. NAME - REASON." and gives that text. The text serves
    /// as a format, so that a "%" in a reason may be lost; that is meant to be so.
    static std::string logException(const platform::Exception& exception,
                                    std::string_view forMethod);

    /// Whether the exception tells that a call to another process took too long: its name is
    /// "NSPortTimeoutException".
    static bool didTimeout(const platform::Exception& exception);
};

/// Logs and prints the reason of an exception that nobody caught, and returns when it is in the
/// file.
void uncaughtExceptionHandler(const platform::Exception& exception);

/// Has uncaughtExceptionHandler() called, on the thread that throws, for every exception that
/// nobody catches, before the former handler (std::get_terminate) ends the process. An exception
/// that is not platform::Exception is logged with what it says of itself. Call it once.
void setUncaughtExceptionHandler();
