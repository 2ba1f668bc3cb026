#include "util/log/QFException.h"

#include "platform/foundation/Format.h"
#include "util/log/QFLog.h"

#include <atomic>
#include <cstdlib>
#include <exception>

namespace {

constexpr const char* timeoutName = platform::exception_name::portTimeout;
constexpr std::string_view caughtFormat = "Exception in %s. %@ - %@.";
constexpr const char* uncaughtName = platform::exception_name::generic;
constexpr const char* unknownReason = "An exception that tells no reason";

std::atomic<std::terminate_handler> formerHandler{nullptr};

platform::Exception described(const std::exception_ptr& exception) {
    try {
        std::rethrow_exception(exception);
    } catch (const platform::Exception& raised) {
        return raised;
    } catch (const std::exception& raised) {
        return {uncaughtName, raised.what()};
    } catch (...) {
        return {uncaughtName, unknownReason};
    }
}

[[noreturn]] void terminateHandler() {
    // A failure in here calls this handler again: then there is nothing left to log.
    thread_local bool entered = false;
    if (const auto exception = std::current_exception(); exception && !entered) {
        entered = true;
        uncaughtExceptionHandler(described(exception));
    }
    if (const auto former = formerHandler.load(); former != nullptr) {
        former();
    }
    std::abort();
}

} // namespace

std::string QFException::logException(const platform::Exception& exception,
                                      std::string_view forMethod) {
    auto text = platform::format(caughtFormat, forMethod, exception.name(), exception.reason());
    QFLog::appendLogAndPrint(text);
    return text;
}

bool QFException::didTimeout(const platform::Exception& exception) {
    return exception.name() == timeoutName;
}

void uncaughtExceptionHandler(const platform::Exception& exception) {
    QFLog::appendLogAndPrint(exception.reason());
    QFLog::finishWriting();
}

void setUncaughtExceptionHandler() {
    formerHandler = std::get_terminate();
    std::set_terminate(terminateHandler);
}
