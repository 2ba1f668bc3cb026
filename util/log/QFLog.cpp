#include "util/log/QFLog.h"

#include "platform/Application.h"
#include "platform/Clock.h"
#include "platform/Console.h"
#include "platform/ProcessCopies.h"
#include "platform/Services.h"
#include "platform/SystemInformation.h"
#include "platform/foundation/Path.h"
#include "util/log/QFException.h"

#include <utility>

namespace {

/// With more operations than this left, the application's end is not delayed.
constexpr std::size_t mostOperationsToWaitFor = 10;

std::mutex allocation;
QFLog* allocated = nullptr;

} // namespace

QFLog& QFLog::sharedController() {
    static QFLog& shared = []() -> QFLog& {
        allocWithZone(nullptr);
        allocated->setWriteQueue(&allocated->ownQueue_);
        qf::setUncaughtExceptionHandler();
        allocated->observeCopies();
        return *allocated;
    }();
    shared.observeTermination();
    return shared;
}

QFLog* QFLog::allocWithZone(const void* /*zone*/) {
    const std::lock_guard lock(allocation);
    if (allocated != nullptr) {
        return nullptr;
    }
    allocated = new QFLog;
    return allocated;
}

/// The application may be created after the log.
void QFLog::observeTermination() {
    if (observesTermination_.load(std::memory_order_relaxed)) {
        return;
    }
    auto* application = qf::installedService<qf::Application>();
    if (application != nullptr && !observesTermination_.exchange(true)) {
        terminationObserver_ = application->addTerminationObserver([] { willTerminate(); });
    }
}

/// A forked process has no writing thread; the original writes the queued entries.
void QFLog::observeCopies() {
    auto* copies = qf::installedService<qf::ProcessCopies>();
    if (copies == nullptr) {
        return;
    }
    copies->observe(
        [this] {
            mutex_.lock();
            copiedQueue_ = writeQueue();
            if (copiedQueue_ != nullptr) {
                copiedQueue_->prepareForCopy();
            }
        },
        [this] {
            if (copiedQueue_ != nullptr) {
                copiedQueue_->goOnAfterCopy();
            }
            mutex_.unlock();
        },
        [this] {
            if (copiedQueue_ != nullptr) {
                copiedQueue_->beginAnewAsCopy();
            }
            bytesInQueue_ = 0;
            startingOver_ = false;
            mutex_.unlock();
        });
}

void QFLog::willTerminate() {
    auto& log = sharedController();
    auto* application = qf::installedService<qf::Application>();
    if (application != nullptr) {
        application->removeTerminationObserver(log.terminationObserver_);
    }
    log.dealloc();
}

void QFLog::dealloc() {
    if (auto* queue = writeQueue()) {
        if (queue->operationCount() <= mostOperationsToWaitFor) {
            queue->waitUntilAllOperationsAreFinished();
        } else {
            queue->cancelAllOperations();
        }
    }
    setAppName(std::nullopt);
    setWriteQueue(nullptr);
    setFileHandle(nullptr);
}

std::string QFLog::appName() const {
    {
        const std::lock_guard lock(mutex_);
        if (appName_) {
            return *appName_;
        }
    }
    const auto path = qf::service<qf::SystemInformation>().executablePath();
    return qf::path::deletingExtension(qf::path::lastComponent(path.value_or("")));
}

void QFLog::setAppName(std::optional<std::string> name) {
    const std::lock_guard lock(mutex_);
    appName_ = std::move(name);
}

std::shared_ptr<qf::LogFile> QFLog::fileHandle() const {
    const std::lock_guard lock(mutex_);
    return fileHandle_;
}

void QFLog::setFileHandle(std::shared_ptr<qf::LogFile> file) {
    const std::lock_guard lock(mutex_);
    fileHandle_.swap(file);
}

void QFLog::setWriteQueue(qf::OperationQueue* queue) {
    if (queue != nullptr) {
        queue->completeWith([this] { confirmEntries(); });
    }
    writeQueue_ = queue;
}

void QFLog::print(std::string_view format, FormatArguments arguments) const noexcept {
    if (noPrinting_ || loggingDisabled_) {
        return;
    }
    try {
        if (auto* console = qf::installedService<qf::Console>()) {
            console->print(qf::format(format, arguments));
        }
    } catch (const std::exception&) {
        return; // nobody is left to report to
    }
}

qf::Date QFLog::now() {
    return qf::now();
}
