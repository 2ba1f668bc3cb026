#include "platform/ProcessLauncher.h"
#include "platform/Services.h"
#include "platform/foundation/Exception.h"
#include "platform/foundation/Thread.h"
#include "util/log/QFLog.h"
#include "util/task/QFTaskEx.h"
#include "util/task/TaskEnvironment.h"

#include <utility>
#include <vector>

using qf::ChildStream;
using qf::Data;
using qf::Value;

namespace {

constexpr const char* noTaskSet = "Unable to launch async task - no task set";
constexpr const char* notLaunchable =
    "Unable to launch async task - task does not exist or is not executable";
constexpr const char* noPipe = "the task's standard output is no pipe";
constexpr const char* exceptionLine = "Exception: %@";

constexpr const char* dataNotification = "QFAsyncTaskDataNotification";
constexpr const char* fileHandleDataItem = "NSFileHandleNotificationDataItem";

qf::Notification notificationOf(Data chunk) {
    Value::Dictionary userInfo;
    userInfo.emplace(fileHandleDataItem, std::move(chunk));
    return {dataNotification, Value(), std::move(userInfo)};
}

} // namespace

std::shared_ptr<QFTaskEx> QFTaskEx::create() {
    return std::shared_ptr<QFTaskEx>(new QFTaskEx);
}

QFTaskEx::~QFTaskEx() {
    const auto child = theTask();
    if (child != nullptr && child->isRunning()) {
        child->terminate();
    }
}

void QFTaskEx::asyncDataFromTask(const std::string& path, const qf::TaskArguments& arguments,
                                 std::weak_ptr<qf::Delegate> delegate,
                                 std::optional<std::string> selector, Value object) {
    asyncDataFromTask(path, arguments, std::move(delegate), std::move(selector), std::move(object),
                      Value());
}

void QFTaskEx::asyncDataFromTask(const std::string& path, const qf::TaskArguments& arguments,
                                 std::weak_ptr<qf::Delegate> delegate,
                                 std::optional<std::string> selector, Value object,
                                 const Value& environment) {
    qf::ProcessDescription description;
    description.launchPath = path;
    description.arguments = arguments.list();
    description.environment = taskEnvironment(environment);
    description.standardOutput =
        ChildStream::through(qf::service<qf::ProcessLauncher>().makePipe());
    description.standardError = ChildStream::nullDevice();
    const auto child = std::make_shared<qf::Process>(std::move(description));
    prepareRun(child, {std::move(delegate), std::move(selector), std::move(object)});
    qf::detachNewThread([runner = shared_from_this(), child] { runner->run(child); });
}

/// The previous receiver is released after the lock: its object's destructor may call the runner.
void QFTaskEx::prepareRun(const std::shared_ptr<qf::Process>& child, Receiver receiver) {
    const std::lock_guard lock(mutex_);
    std::swap(receiver_, receiver);
    theTask_.set(child);
}

std::shared_ptr<qf::Delegate> QFTaskEx::delegate() const {
    const std::lock_guard lock(mutex_);
    return receiver_.delegate.lock();
}

void QFTaskEx::setDelegate(std::weak_ptr<qf::Delegate> delegate) {
    const std::lock_guard lock(mutex_);
    receiver_.delegate = std::move(delegate);
}

std::optional<std::string> QFTaskEx::selector() const {
    const std::lock_guard lock(mutex_);
    return receiver_.selector;
}

void QFTaskEx::setSelector(std::optional<std::string> selector) {
    const std::lock_guard lock(mutex_);
    receiver_.selector = std::move(selector);
}

Value QFTaskEx::object() const {
    const std::lock_guard lock(mutex_);
    return receiver_.object;
}

/// The previous object is released after the lock: its destructor may call the runner.
void QFTaskEx::setObject(Value object) {
    const std::lock_guard lock(mutex_);
    std::swap(receiver_.object, object);
}

void QFTaskEx::launchAsyncTask() {
    run(theTask());
}

/// A thread that begins after its run has ended takes no part in a run that was started meanwhile.
void QFTaskEx::run(const std::shared_ptr<qf::Process>& child) {
    try {
        if (child == nullptr || theTask() == nullptr) {
            QFLog::appendLogAndPrint(noTaskSet);
            return;
        }
        if (!qf::service<qf::ProcessLauncher>().canLaunch(child->description().launchPath)) {
            QFLog::appendLog(notLaunchable);
            return;
        }
        launchUnlessTerminated(*child);
        const auto pipe = child->description().standardOutput.pipe();
        if (pipe == nullptr) {
            throw qf::Exception(qf::exception_name::invalidArgument, noPipe);
        }
        for (auto chunk = qf::availableData(*pipe); !chunk.bytes.empty();
             chunk = qf::availableData(*pipe)) {
            returnData(child, notificationOf(std::move(chunk)));
        }
        returnData(child, notificationOf(Data()));
    } catch (const qf::Exception& exception) {
        QFLog::appendLogAndPrint(exceptionLine, exception.reason());
    }
}

/// A run terminated before its launch has a closed pipe and nothing to launch.
void QFTaskEx::launchUnlessTerminated(qf::Process& child) {
    const std::lock_guard lock(mutex_);
    if (theTask_.get().get() == &child) {
        child.launch();
    }
}

void QFTaskEx::asyncTaskReturnData(const qf::Notification& notification) {
    returnData(theTask(), notification);
}

/// The thread of a terminated run takes no part in the run that was started after it.
void QFTaskEx::returnData(const std::shared_ptr<qf::Process>& child,
                          const qf::Notification& notification) {
    const auto* item = notification.userInfo[fileHandleDataItem].as<Data>();
    const Data none;
    const Data& chunk = item != nullptr ? *item : none;
    deliver(child, chunk);
    if (chunk.bytes.empty()) {
        endRun(child);
    }
}

void QFTaskEx::deliver(const std::shared_ptr<qf::Process>& child, const Data& chunk) {
    Receiver receiver;
    {
        const std::lock_guard lock(mutex_);
        if (theTask_.get() != child) {
            return;
        }
        receiver = receiver_;
    }
    const auto delegate = receiver.delegate.lock();
    if (delegate == nullptr || !receiver.selector || !delegate->respondsTo(*receiver.selector)) {
        return;
    }
    std::vector<Value> arguments;
    arguments.reserve(3);
    arguments.emplace_back(chunk);
    arguments.emplace_back(Value::Object(shared_from_this()));
    if (!receiver.object.isNone()) {
        arguments.push_back(receiver.object);
    }
    const auto taken = qf::argumentCount(*receiver.selector);
    if (arguments.size() > taken) {
        throw qf::Exception(qf::exception_name::invalidArgument,
                            *receiver.selector + " takes " + std::to_string(taken) +
                                " arguments, " + std::to_string(arguments.size()) + " were given");
    }
    arguments.resize(taken);
    delegate->perform(*receiver.selector, arguments);
}

void QFTaskEx::terminateAsyncTask() {
    endRun(theTask());
}

void QFTaskEx::endRun(const std::shared_ptr<qf::Process>& child) {
    Receiver forgotten; // Released after the lock: its destructor may call the runner.
    const std::lock_guard lock(mutex_);
    if (child == nullptr || theTask_.get() != child) {
        return;
    }
    if (const auto& pipe = child->description().standardOutput.pipe(); pipe != nullptr) {
        pipe->closeReadEnd();
    }
    std::swap(receiver_, forgotten);
    if (child->isRunning()) {
        child->terminate();
    }
    theTask_.set(nullptr);
}

void QFTaskEx::terminateTask() {
    terminateAsyncTask();
}
