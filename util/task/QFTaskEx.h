#pragma once

#include "platform/foundation/Delegate.h"
#include "platform/foundation/Notification.h"
#include "platform/foundation/TextEncoding.h"
#include "platform/foundation/Timeout.h"
#include "platform/support/Process.h"
#include "util/task/TaskArguments.h"
#include "util/task/TaskSlot.h"

#include <chrono>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

/// Whether what the child writes to its standard output is collected or goes where the program's
/// own goes. Nothing is written to the log either way.
enum class LogOutput { no, yes };

/// Whether what the child writes to its standard error is collected or thrown away.
enum class LogError { no, yes };

/// Runs system tools as child processes: to the end, for their output, for their exit status, with
/// or without a time-out; or without blocking, with the output handed to a delegate piece by piece.
///
/// Class-level operations are static. Operations of one runner, an instance that create() makes,
/// are members; those that exist at both levels under one name, the timed ones, end in "OnRunner"
/// as members.
///
/// A path is the tool's, absolute or relative to the working directory. Where an operation refuses
/// it, because it is not executable or is a package, it logs and prints "Error: %@ is not
/// executable". A TaskSlot is where an operation keeps the child that it runs, for others to reach;
/// class-level operations leave it there. An environment, a dictionary of strings, is the child's
/// whole environment; none leaves it the program's. A child's exit status is no failure.
///
/// A time-out counts in whole seconds. When it is over while the child runs, the child is asked to
/// end, on the main thread, which must be running its loop, and "Task %@ timed out. Terminating..."
/// is logged and printed; the operation then returns once the child has obeyed, with what it has. A
/// child that ignores the request is waited for; others who keep its output open are not, also when
/// the child has ended before. A time-out keeps the runner alive for its whole interval, even when
/// the child has ended long before. One thread counts all of them. When the system has none left
/// for it, a timed operation runs nothing: it logs and prints why, as QFException::logException
/// does, and gives nothing, or -1 for an exit status.
///
/// Class-level operations block the calling thread; any thread may call them. A runner serves one
/// timed call, or one asynchronous run, at a time; the time-out of a former call that is not over
/// yet acts on whatever child the runner then has.
class QFTaskEx : public std::enable_shared_from_this<QFTaskEx> {
public:
    // Run a tool, its output discarded, until it has ended.

    /// True when the child was launched and has ended. Refuses an absolute path that is not
    /// executable or is a package; an empty or relative one is tried. A launch that fails logs, and
    /// does not print, "Exception running task %@: %@" and gives false.
    static bool runTask(const std::string& path, const TaskArguments& arguments);
    static bool runTask(const std::string& path, const TaskArguments& arguments, TaskSlot& task);

    /// As above, with nothing to tell. The child is never terminated, whatever the time-out: the
    /// time-out's thread finds no child, and the call returns at the child's natural end.
    static void runTask(const std::string& path, const TaskArguments& arguments,
                        platform::Timeout timeout);
    void runTaskOnRunner(const std::string& path, const TaskArguments& arguments,
                         platform::Timeout timeout);

    /// Launches a tool, its output discarded, and returns it without waiting; null when the path is
    /// refused. Throws platform::Exception when the launch fails. The line about a refused path is
    /// filled twice, so that a "%" in the path is read as the start of a directive.
    static std::shared_ptr<platform::Process> runTaskAndReturn(const std::string& path,
                                                               const TaskArguments& arguments);

    // Collect a tool's output.

    /// The bytes that the child wrote to its standard output or, when there are none, to its
    /// standard error; only of the two that are collected. Nothing when the path is refused or,
    /// after "Exception running task %@: %@" is logged and printed, when the platform raised.
    ///
    /// Standard output is read to its end before standard error is read at all, so that a child
    /// that fills the pipe of its errors meanwhile waits, and the call with it. Without LogOutput
    /// and LogError the call returns at once. The child's end is not waited for. The child's
    /// standard input is a pipe that nobody writes to. While other runs hold all descriptors that
    /// the program may open, the call waits for them before it launches anything.
    static std::optional<platform::Data>
    dataFromTask(const std::string& path, const TaskArguments& arguments, TaskSlot& task);
    static std::optional<platform::Data> dataFromTask(const std::string& path,
                                                      const TaskArguments& arguments,
                                                      TaskSlot& task,
                                                      const platform::Value& environment);
    static std::optional<platform::Data>
    dataFromTask(const std::string& path, const TaskArguments& arguments, TaskSlot& task,
                 const platform::Value& environment, LogOutput logOutput);
    static std::optional<platform::Data>
    dataFromTask(const std::string& path, const TaskArguments& arguments, TaskSlot& task,
                 const platform::Value& environment, LogOutput logOutput, LogError logError);

    /// As above under a time-out: what arrived before the child was terminated.
    static std::optional<platform::Data> dataFromTask(const std::string& path,
                                                      const TaskArguments& arguments,
                                                      platform::Timeout timeout);
    static std::optional<platform::Data> dataFromTask(const std::string& path,
                                                      const TaskArguments& arguments,
                                                      platform::Timeout timeout,
                                                      LogOutput logOutput, LogError logError);
    std::optional<platform::Data> dataFromTaskOnRunner(const std::string& path,
                                                       const TaskArguments& arguments,
                                                       platform::Timeout timeout);
    std::optional<platform::Data> dataFromTaskOnRunner(const std::string& path,
                                                       const TaskArguments& arguments,
                                                       platform::Timeout timeout,
                                                       LogOutput logOutput, LogError logError);

    /// The output as text: the empty string when dataFromTask gives nothing, nothing when the bytes
    /// are no text in the encoding, which is ASCII unless another is given, or there is no memory
    /// for the text.
    static std::optional<std::string> stringFromTask(const std::string& path,
                                                     const TaskArguments& arguments);
    static std::optional<std::string>
    stringFromTask(const std::string& path, const TaskArguments& arguments, TaskSlot& task);
    static std::optional<std::string> stringFromTask(const std::string& path,
                                                     const TaskArguments& arguments,
                                                     platform::TextEncoding encoding,
                                                     TaskSlot& task);
    static std::optional<std::string> stringFromTask(const std::string& path,
                                                     const TaskArguments& arguments,
                                                     platform::Timeout timeout);
    static std::optional<std::string> stringFromTask(const std::string& path,
                                                     const TaskArguments& arguments,
                                                     platform::TextEncoding encoding,
                                                     platform::Timeout timeout);
    static std::optional<std::string> stringFromTask(const std::string& path,
                                                     const TaskArguments& arguments,
                                                     platform::TextEncoding encoding,
                                                     platform::Timeout timeout, LogOutput logOutput,
                                                     LogError logError);

    // Learn a tool's exit status.

    /// The status of the child, its output discarded, or the number of the signal that ended it; -1
    /// when the path is refused. Throws platform::Exception when the launch fails.
    static int terminationCodeFromTask(const std::string& path, const TaskArguments& arguments);
    static int terminationCodeFromTask(const std::string& path, const TaskArguments& arguments,
                                       TaskSlot& task);
    static int terminationCodeFromTask(const std::string& path, const TaskArguments& arguments,
                                       platform::Timeout timeout);
    int terminationCodeFromTaskOnRunner(const std::string& path, const TaskArguments& arguments,
                                        platform::Timeout timeout);

    // Runners.

    /// A fresh runner, all its properties empty.
    static std::shared_ptr<QFTaskEx> create();

    /// Forgets the delegate and asks a child that still runs to end.
    ~QFTaskEx();
    QFTaskEx(const QFTaskEx&) = delete;
    QFTaskEx& operator=(const QFTaskEx&) = delete;
    QFTaskEx(QFTaskEx&&) = delete;
    QFTaskEx& operator=(QFTaskEx&&) = delete;

    /// The child that the current call or run has started, or null. Any thread. One that is set,
    /// its standard output a pipe, is what launchAsyncTask() runs.
    std::shared_ptr<platform::Process> theTask() const { return theTask_.get(); }
    void setTheTask(std::shared_ptr<platform::Process> task) { theTask_.set(std::move(task)); }

    /// Who is told what an asynchronous run prints, or null: it is not kept alive. Any thread.
    std::shared_ptr<platform::Delegate> delegate() const;
    void setDelegate(std::weak_ptr<platform::Delegate> delegate);

    /// The delegate's operation for that. Any thread.
    std::optional<std::string> selector() const;
    void setSelector(std::optional<std::string> selector);

    /// What the operation is given as its third argument, or none. Any thread.
    platform::Value object() const;
    void setObject(platform::Value object);

    /// Sleeps, then has the main thread perform timeout() and waits until it is done. Without an
    /// application there is no main thread, and nothing happens.
    void setupTimeout(std::chrono::seconds seconds);

    /// Terminates the child in theTask, if it runs, and says so. What a timed call collects then
    /// ends with the child. Main thread.
    void timeout();

    /// As terminateAsyncTask, for timed calls too.
    void terminateTask();

    // Run a tool without blocking.

    /// Starts a thread that runs the tool and hands each piece of its standard output, as it
    /// arrives, to the operation `selector` of `delegate`: the bytes (Data), this runner (an
    /// Object) and, where it is not none, `object`. No bytes mean the end, after which the runner
    /// has forgotten the child, the delegate, the selector and the object. Standard error is
    /// discarded. Returns at once; the delegate is called on the runner's thread.
    ///
    /// The delegate is not kept alive; one that is gone, or has no such operation, is not called.
    /// An operation that takes fewer arguments than it is given ends the thread, as does any other
    /// platform exception, with the line "Exception: %@". A tool that does not exist or is not
    /// executable is logged, and the delegate never called. Throws platform::Exception where the
    /// system has no pipe or thread left, or `environment` is no dictionary of strings.
    void asyncDataFromTask(const std::string& path, const TaskArguments& arguments,
                           std::weak_ptr<platform::Delegate> delegate,
                           std::optional<std::string> selector, platform::Value object);
    void asyncDataFromTask(const std::string& path, const TaskArguments& arguments,
                           std::weak_ptr<platform::Delegate> delegate,
                           std::optional<std::string> selector, platform::Value object,
                           const platform::Value& environment);

    /// The body of the runner's thread.
    void launchAsyncTask();

    /// Delivers the piece in a record named "QFAsyncTaskDataNotification", which its user
    /// information holds under "NSFileHandleNotificationDataItem". An empty piece ends the run.
    void asyncTaskReturnData(const platform::Notification& notification);

    /// Ends the run: the runner's thread reads no more, the delegate, the selector and the object
    /// are forgotten, the child, if it runs, is asked to end, and is forgotten. Another run may be
    /// started at once. Any thread.
    void terminateAsyncTask();

private:
    /// Whom the output goes to.
    struct Receiver {
        std::weak_ptr<platform::Delegate> delegate;
        std::optional<std::string> selector;
        platform::Value object;
    };

    QFTaskEx() = default;

    bool startTimeout(platform::Timeout timeout);
    void timeIsUp();
    void prepareRun(const std::shared_ptr<platform::Process>& child, Receiver receiver);
    void run(const std::shared_ptr<platform::Process>& child);
    void launchUnlessTerminated(platform::Process& child);
    void returnData(const std::shared_ptr<platform::Process>& child,
                    const platform::Notification& notification);
    void deliver(const std::shared_ptr<platform::Process>& child, const platform::Data& chunk);
    void endRun(const std::shared_ptr<platform::Process>& child);

    TaskSlot theTask_;
    /// Guards the receiver, and the launch of a run against its end.
    mutable std::mutex mutex_;
    Receiver receiver_;
};
