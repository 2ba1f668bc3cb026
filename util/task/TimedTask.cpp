#include "platform/Application.h"
#include "platform/Clock.h"
#include "platform/Services.h"
#include "platform/foundation/Exception.h"
#include "util/log/QFException.h"
#include "util/log/QFLog.h"
#include "util/task/QFTaskEx.h"

using qf::Data;

namespace {

constexpr const char* timedOut = "Task %@ timed out. Terminating...";

/// Holds a runner's slot for one timed call; the slot is empty before and after it.
class TimedCall {
public:
    explicit TimedCall(qf::TaskSlot& task) : task_(task) {
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
    qf::TaskSlot& task_;
};

} // namespace

void QFTaskEx::runTask(const std::string& path, const qf::TaskArguments& arguments,
                       qf::Timeout timeout) {
    create()->runTaskOnRunner(path, arguments, timeout);
}

void QFTaskEx::runTaskOnRunner(const std::string& path, const qf::TaskArguments& arguments,
                               qf::Timeout timeout) {
    if (!startTimeout(timeout)) {
        return;
    }
    theTask_.set(nullptr);
    // The child is kept where the time-out does not look for it, so it is never terminated.
    qf::TaskSlot task;
    runTask(path, arguments, task);
}

std::optional<Data> QFTaskEx::dataFromTask(const std::string& path,
                                           const qf::TaskArguments& arguments,
                                           qf::Timeout timeout) {
    return dataFromTask(path, arguments, timeout, qf::LogOutput::yes, qf::LogError::yes);
}

std::optional<Data> QFTaskEx::dataFromTask(const std::string& path,
                                           const qf::TaskArguments& arguments, qf::Timeout timeout,
                                           qf::LogOutput logOutput, qf::LogError logError) {
    return create()->dataFromTaskOnRunner(path, arguments, timeout, logOutput, logError);
}

std::optional<Data> QFTaskEx::dataFromTaskOnRunner(const std::string& path,
                                                   const qf::TaskArguments& arguments,
                                                   qf::Timeout timeout) {
    return dataFromTaskOnRunner(path, arguments, timeout, qf::LogOutput::yes, qf::LogError::yes);
}

std::optional<Data> QFTaskEx::dataFromTaskOnRunner(const std::string& path,
                                                   const qf::TaskArguments& arguments,
                                                   qf::Timeout timeout, qf::LogOutput logOutput,
                                                   qf::LogError logError) {
    const TimedCall call(theTask_);
    if (!startTimeout(timeout)) {
        return std::nullopt;
    }
    return dataFromTask(path, arguments, theTask_, qf::Value(), logOutput, logError);
}

int QFTaskEx::terminationCodeFromTask(const std::string& path, const qf::TaskArguments& arguments,
                                      qf::Timeout timeout) {
    return create()->terminationCodeFromTaskOnRunner(path, arguments, timeout);
}

int QFTaskEx::terminationCodeFromTaskOnRunner(const std::string& path,
                                              const qf::TaskArguments& arguments,
                                              qf::Timeout timeout) {
    const TimedCall call(theTask_);
    if (!startTimeout(timeout)) {
        return -1;
    }
    return terminationCodeFromTask(path, arguments, theTask_);
}

/// Starts the time-out, which is never cancelled. Returns false if the system has no thread left
/// for it.
bool QFTaskEx::startTimeout(qf::Timeout timeout) {
    try {
        qf::service<qf::Clock>().performAfter(
            timeout.wholeSeconds(), [runner = shared_from_this()] { runner->timeIsUp(); });
        return true;
    } catch (const qf::Exception& exception) {
        QFException::logException(exception, "setupTimeout:");
        return false;
    }
}

/// Waits out a launch in progress, so that a very short time-out does not miss the child.
void QFTaskEx::timeIsUp() {
    theTask_.onceLaunched([runner = shared_from_this()] {
        if (auto* application = qf::installedService<qf::Application>()) {
            application->performOnMainThread([runner] { runner->timeout(); }, qf::Wait::no);
        } else {
            runner->timeout();
        }
    });
}

void QFTaskEx::setupTimeout(std::chrono::seconds seconds) {
    qf::sleep(seconds);
    if (auto* application = qf::installedService<qf::Application>()) {
        application->performOnMainThread([this] { timeout(); }, qf::Wait::untilDone);
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
