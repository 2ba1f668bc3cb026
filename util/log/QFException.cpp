#include "util/log/QFException.h"

#include "platform/foundation/Format.h"
#include "util/log/QFLog.h"

#include <atomic>
#include <cstdlib>
#include <exception>

namespace {

constexpr const char* timeoutName = qf::exception_name::portTimeout;
constexpr std::string_view caughtFormat = "Exception in %s. %@ - %@.";
constexpr const char* uncaughtName = qf::exception_name::generic;

std::atomic<std::terminate_handler> formerHandler{nullptr};

qf::Exception described(const std::exception_ptr& exception) {
    try {
        std::rethrow_exception(exception);
    } catch (const qf::Exception& raised) {
        return raised;
    } catch (const std::exception& raised) {
        return {uncaughtName, raised.what()};
    } catch (...) {
        return {uncaughtName, QFException::unknownReason};
    }
}

[[noreturn]] void terminateHandler() {
    // A failure in here calls this handler again: then there is nothing left to log.
    thread_local bool entered = false;
    if (const auto exception = std::current_exception(); exception && !entered) {
        entered = true;
        qf::uncaughtExceptionHandler(described(exception));
    }
    if (const auto former = formerHandler.load(); former != nullptr) {
        former();
    }
    std::abort();
}

} // namespace

std::string QFException::logException(const qf::Exception& exception, std::string_view forMethod) {
    auto text = qf::format(caughtFormat, forMethod, exception.name(), exception.reason());
    QFLog::appendLogAndPrint(text);
    return text;
}

bool QFException::didTimeout(const qf::Exception& exception) {
    return exception.name() == timeoutName;
}

void qf::uncaughtExceptionHandler(const qf::Exception& exception) {
    QFLog::appendLogAndPrint(exception.reason());
    QFLog::finishWriting();
}

void qf::setUncaughtExceptionHandler() {
    formerHandler = std::get_terminate();
    std::set_terminate(terminateHandler);
}
