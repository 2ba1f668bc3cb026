#include "platform/Application.h"
#include "platform/Clock.h"
#include "platform/Services.h"
#include "platform/foundation/Exception.h"
#include "util/log/QFException.h"
#include "util/log/QFLog.h"
#include "util/task/QFTaskEx.h"

using platform::Data;

namespace {

constexpr const char* timedOut = "Task %@ timed out. Terminating...";

/// Holds a runner's slot for one timed call; the slot is empty before and after it.
class TimedCall {
public:
    explicit TimedCall(TaskSlot& task) : task_(task) {
        task_.set(nullptr);
        task_.expectLaunch(true);
    }
    ~TimedCall() {
        task_.set(nullptr);
        task_.expectLaunch(false);
    }
    TimedCall(const TimedCall&) = delete;
    TimedCall& operator=(const TimedCall&) = delete;
    TimedCall(TimedCall&&) = delete;
    TimedCall& operator=(TimedCall&&) = delete;

private:
    TaskSlot& task_;
};

} // namespace

void QFTaskEx::runTask(const std::string& path, const TaskArguments& arguments,
                       platform::Timeout timeout) {
    create()->runTaskOnRunner(path, arguments, timeout);
}

void QFTaskEx::runTaskOnRunner(const std::string& path, const TaskArguments& arguments,
                               platform::Timeout timeout) {
    if (!startTimeout(timeout)) {
        return;
    }
    theTask_.set(nullptr);
    // The child is kept where the time-out does not look for it, so it is never terminated.
    TaskSlot task;
    runTask(path, arguments, task);
}

std::optional<Data> QFTaskEx::dataFromTask(const std::string& path, const TaskArguments& arguments,
                                           platform::Timeout timeout) {
    return dataFromTask(path, arguments, timeout, LogOutput::yes, LogError::yes);
}

std::optional<Data> QFTaskEx::dataFromTask(const std::string& path, const TaskArguments& arguments,
                                           platform::Timeout timeout, LogOutput logOutput,
                                           LogError logError) {
    return create()->dataFromTaskOnRunner(path, arguments, timeout, logOutput, logError);
}

std::optional<Data> QFTaskEx::dataFromTaskOnRunner(const std::string& path,
                                                   const TaskArguments& arguments,
                                                   platform::Timeout timeout) {
    return dataFromTaskOnRunner(path, arguments, timeout, LogOutput::yes, LogError::yes);
}

std::optional<Data> QFTaskEx::dataFromTaskOnRunner(const std::string& path,
                                                   const TaskArguments& arguments,
                                                   platform::Timeout timeout, LogOutput logOutput,
                                                   LogError logError) {
    const TimedCall call(theTask_);
    if (!startTimeout(timeout)) {
        return std::nullopt;
    }
    return dataFromTask(path, arguments, theTask_, platform::Value(), logOutput, logError);
}

int QFTaskEx::terminationCodeFromTask(const std::string& path, const TaskArguments& arguments,
                                      platform::Timeout timeout) {
    return create()->terminationCodeFromTaskOnRunner(path, arguments, timeout);
}

int QFTaskEx::terminationCodeFromTaskOnRunner(const std::string& path,
                                              const TaskArguments& arguments,
                                              platform::Timeout timeout) {
    const TimedCall call(theTask_);
    if (!startTimeout(timeout)) {
        return -1;
    }
    return terminationCodeFromTask(path, arguments, theTask_);
}

/// Starts the time-out, which is never cancelled. Returns false if the system has no thread left
/// for it.
bool QFTaskEx::startTimeout(platform::Timeout timeout) {
    try {
        platform::service<platform::Clock>().performAfter(
            timeout.wholeSeconds(), [runner = shared_from_this()] { runner->timeIsUp(); });
        return true;
    } catch (const platform::Exception& exception) {
        QFException::logException(exception, "setupTimeout:");
        return false;
    }
}

/// Waits out a launch in progress, so that a very short time-out does not miss the child.
void QFTaskEx::timeIsUp() {
    theTask_.onceLaunched([runner = shared_from_this()] {
        if (auto* application = platform::installedService<platform::Application>()) {
            application->performOnMainThread([runner] { runner->timeout(); }, platform::Wait::no);
        } else {
            runner->timeout();
        }
    });
}

void QFTaskEx::setupTimeout(std::chrono::seconds seconds) {
    platform::sleep(seconds);
    if (auto* application = platform::installedService<platform::Application>()) {
        application->performOnMainThread([this] { timeout(); }, platform::Wait::untilDone);
    } else {
        timeout();
    }
}

void QFTaskEx::timeout() {
    const auto child = theTask_.get();
    if (child == nullptr) {
        return;
    }
    if (child->isRunning()) {
        QFLog::appendLogAndPrint(timedOut, child->description().launchPath);
        child->terminate();
    }
    child->endOutputWithChild();
}
