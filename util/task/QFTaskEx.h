#pragma once

#include "platform/foundation/Delegate.h"
#include "platform/foundation/Notification.h"
#include "platform/foundation/Result.h"
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
#include <type_traits>

namespace qf {

/// Whether the child's standard output is collected or goes where the program's own goes. Nothing
/// is written to the log either way.
enum class LogOutput { no, yes };

/// Whether the child's standard error is collected or discarded.
enum class LogError { no, yes };

} // namespace qf

/// Runs system tools as child processes: to their end, for their output or for their exit status,
/// with or without a time-out; or without blocking, passing the output to a delegate piece by
/// piece.
///
/// Class-level operations are static. Operations of a runner, an instance that create() returns,
/// are members. The timed ones, which exist at both levels, end in "OnRunner" as members.
///
/// A path is the tool's, absolute or relative to the working directory. An operation that refuses
/// it, because it is not executable or is a package, logs and prints "Error: %@ is not executable".
/// A TaskSlot holds the child that an operation runs, so that others can reach it; class-level
/// operations leave the child there. An environment, a dictionary of strings, is the child's whole
/// environment; without one the child has the program's. A child's exit status is never a failure.
///
/// A time-out is in whole seconds. If it expires while the child runs, the child is asked to
/// terminate, and "Task %@ timed out. Terminating..." is logged and printed; the operation then
/// returns the output so far once the child has ended. This happens on the main thread, whose loop
/// must be running, or in a program without an application on the time-out's own thread. A child
/// that ignores the request is waited for; other processes that keep its output open are not, even
/// if the child has ended before. A time-out keeps the runner alive for its whole interval, even if
/// the child has ended long before. One thread counts all time-outs. If the system cannot start
/// that thread, a timed operation runs nothing: it logs and prints why, as
/// QFException::logException does, and returns no value, or -1 for an exit status.
///
/// Class-level operations block the calling thread; any thread may call them. A runner serves one
/// timed call, or one asynchronous run, at a time; an earlier call's time-out that expires later
/// acts on whatever child the runner then has.
class QFTaskEx : public std::enable_shared_from_this<QFTaskEx> {
public:
    // Run a tool to its end and discard its output.

    /// Returns true if the child was launched and has ended. Refuses an absolute path that is not
    /// executable or is a package; tries an empty or relative one. A failed launch logs, and does
    /// not print, "Exception running task %@: %@" and returns false.
    static bool runTask(const std::string& path, const qf::TaskArguments& arguments);
    static bool runTask(const std::string& path, const qf::TaskArguments& arguments,
                        qf::TaskSlot& task);

    /// As runTask; says why the child was not launched. The error's domain is "QFTaskErrorDomain".
    static qf::Result<void> runTaskWithResult(const std::string& path,
                                              const qf::TaskArguments& arguments,
                                              qf::TaskSlot& task);

    /// As above, without a result. The child is never terminated, whatever the time-out: the
    /// time-out's thread finds no child, and the call returns when the child ends by itself.
    static void runTask(const std::string& path, const qf::TaskArguments& arguments,
                        qf::Timeout timeout);
    void runTaskOnRunner(const std::string& path, const qf::TaskArguments& arguments,
                         qf::Timeout timeout);

    /// Launches a tool, discarding its output, and returns it without waiting; null if the path is
    /// refused. Throws qf::Exception if the launch fails. The message about a refused path is
    /// formatted twice, so that a "%" in the path begins a directive.
    static std::shared_ptr<qf::Process> runTaskAndReturn(const std::string& path,
                                                         const qf::TaskArguments& arguments);

    // Collect a tool's output.

    /// Returns the bytes that the child wrote to its standard output or, if that is empty, to its
    /// standard error; a stream that is not collected counts as empty. Returns no value if the path
    /// is refused or the platform throws; the latter logs and prints "Exception running task %@:
    /// %@".
    ///
    /// Standard output is read to its end before standard error is read at all, so a child that
    /// fills the pipe of its errors meanwhile blocks, and the call with it. With LogOutput::no and
    /// LogError::no the call returns at once. It does not wait for the child's end. The child's
    /// standard input is a pipe that nobody writes to. While other runs hold all descriptors that
    /// the program may open, the call waits for them before it launches anything.
    static std::optional<qf::Data>
    dataFromTask(const std::string& path, const qf::TaskArguments& arguments, qf::TaskSlot& task);
    static std::optional<qf::Data> dataFromTask(const std::string& path,
                                                const qf::TaskArguments& arguments,
                                                qf::TaskSlot& task, const qf::Value& environment);
    static std::optional<qf::Data> dataFromTask(const std::string& path,
                                                const qf::TaskArguments& arguments,
                                                qf::TaskSlot& task, const qf::Value& environment,
                                                qf::LogOutput logOutput);
    static std::optional<qf::Data> dataFromTask(const std::string& path,
                                                const qf::TaskArguments& arguments,
                                                qf::TaskSlot& task, const qf::Value& environment,
                                                qf::LogOutput logOutput, qf::LogError logError);

    /// A number is no environment: a time-out takes the place of `task`.
    template <class Number>
    requires std::is_arithmetic_v<Number>
    static std::optional<qf::Data> dataFromTask(const std::string& path,
                                                const qf::TaskArguments& arguments,
                                                qf::TaskSlot& task, Number environment) = delete;

    /// As above with a time-out: returns the bytes that arrived before the child was terminated.
    static std::optional<qf::Data>
    dataFromTask(const std::string& path, const qf::TaskArguments& arguments, qf::Timeout timeout);
    static std::optional<qf::Data> dataFromTask(const std::string& path,
                                                const qf::TaskArguments& arguments,
                                                qf::Timeout timeout, qf::LogOutput logOutput,
                                                qf::LogError logError);
    std::optional<qf::Data> dataFromTaskOnRunner(const std::string& path,
                                                 const qf::TaskArguments& arguments,
                                                 qf::Timeout timeout);
    std::optional<qf::Data> dataFromTaskOnRunner(const std::string& path,
                                                 const qf::TaskArguments& arguments,
                                                 qf::Timeout timeout, qf::LogOutput logOutput,
                                                 qf::LogError logError);

    /// Return the output as text: the empty string if dataFromTask returns no value; no value if
    /// the bytes are not text in the encoding (ASCII by default) or there is no memory for the
    /// text.
    static std::optional<std::string> stringFromTask(const std::string& path,
                                                     const qf::TaskArguments& arguments);
    static std::optional<std::string>
    stringFromTask(const std::string& path, const qf::TaskArguments& arguments, qf::TaskSlot& task);
    static std::optional<std::string> stringFromTask(const std::string& path,
                                                     const qf::TaskArguments& arguments,
                                                     qf::TextEncoding encoding, qf::TaskSlot& task);
    static std::optional<std::string> stringFromTask(const std::string& path,
                                                     const qf::TaskArguments& arguments,
                                                     qf::Timeout timeout);
    static std::optional<std::string> stringFromTask(const std::string& path,
                                                     const qf::TaskArguments& arguments,
                                                     qf::TextEncoding encoding,
                                                     qf::Timeout timeout);
    static std::optional<std::string> stringFromTask(const std::string& path,
                                                     const qf::TaskArguments& arguments,
                                                     qf::TextEncoding encoding, qf::Timeout timeout,
                                                     qf::LogOutput logOutput,
                                                     qf::LogError logError);

    // Get a tool's exit status.

    /// Returns the child's exit status, or the number of the signal that ended it; -1 if the path
    /// is refused. A child that a time-out ended usually has 15 (SIGTERM), which an exit status may
    /// be too. Discards the output. Throws qf::Exception if the launch fails.
    static int terminationCodeFromTask(const std::string& path, const qf::TaskArguments& arguments);
    static int terminationCodeFromTask(const std::string& path, const qf::TaskArguments& arguments,
                                       qf::TaskSlot& task);
    static int terminationCodeFromTask(const std::string& path, const qf::TaskArguments& arguments,
                                       qf::Timeout timeout);
    int terminationCodeFromTaskOnRunner(const std::string& path, const qf::TaskArguments& arguments,
                                        qf::Timeout timeout);

    // Runners.

    /// Returns a new runner with empty properties.
    static std::shared_ptr<QFTaskEx> create();

    /// Forgets the delegate and asks a child that still runs to terminate. An asynchronous run
    /// keeps its runner alive.
    ~QFTaskEx();
    QFTaskEx(const QFTaskEx&) = delete;
    QFTaskEx& operator=(const QFTaskEx&) = delete;
    QFTaskEx(QFTaskEx&&) = delete;
    QFTaskEx& operator=(QFTaskEx&&) = delete;

    /// The child that the current call or run has started, or null. Any thread. launchAsyncTask()
    /// runs a child that is set here, whose standard output must be a pipe.
    std::shared_ptr<qf::Process> theTask() const { return theTask_.get(); }
    void setTheTask(std::shared_ptr<qf::Process> task) { theTask_.set(std::move(task)); }

    /// The receiver of an asynchronous run's output, or null; it is not kept alive. Any thread.
    std::shared_ptr<qf::Delegate> delegate() const;
    void setDelegate(std::weak_ptr<qf::Delegate> delegate);

    /// The delegate's operation for the output. Any thread.
    std::optional<std::string> selector() const;
    void setSelector(std::optional<std::string> selector);

    /// The operation's third argument, or no value. Any thread.
    qf::Value object() const;
    void setObject(qf::Value object);

    /// Sleeps, then performs timeout() on the main thread and waits until it is done. Without an
    /// application there is no main thread, and the calling thread performs it.
    void setupTimeout(std::chrono::seconds seconds);

    /// Asks the child in theTask to terminate, if it runs, and logs and prints that. A timed call
    /// then collects no more than the child's output. Main thread, if there is an application.
    void timeout();

    /// As terminateAsyncTask; also for timed calls.
    void terminateTask();

    // Run a tool without blocking.

    /// Starts a thread that runs the tool and passes each piece of its standard output, as it
    /// arrives, to the operation `selector` of `delegate`: the bytes (Data), this runner (an
    /// Object) and, if it has a value, `object`. An empty piece is the end, after which the runner
    /// forgets the child, the delegate, the selector and the object. Standard error is discarded.
    /// Returns at once; the delegate is called on the runner's thread.
    ///
    /// The delegate is not kept alive; one that is gone, or has no such operation, is not called.
    /// An operation that takes fewer arguments than are passed ends the thread, as does any other
    /// platform exception, and logs "Exception: %@". A tool that does not exist or is not
    /// executable is logged, and the delegate is never called. Throws qf::Exception if the
    /// system has no pipe or thread left, or `environment` is not a dictionary of strings.
    void asyncDataFromTask(const std::string& path, const qf::TaskArguments& arguments,
                           std::weak_ptr<qf::Delegate> delegate,
                           std::optional<std::string> selector, qf::Value object);
    void asyncDataFromTask(const std::string& path, const qf::TaskArguments& arguments,
                           std::weak_ptr<qf::Delegate> delegate,
                           std::optional<std::string> selector, qf::Value object,
                           const qf::Value& environment);

    /// Runs the body of the runner's thread.
    void launchAsyncTask();

    /// Delivers the piece of output in a notification named "QFAsyncTaskDataNotification", under
    /// "NSFileHandleNotificationDataItem" in its user information. An empty piece ends the run.
    void asyncTaskReturnData(const qf::Notification& notification);

    /// Ends the run: the runner's thread stops reading; the delegate, the selector and the object
    /// are forgotten; the child, if it runs, is asked to terminate, and is forgotten. Another run
    /// may be started at once. Any thread.
    void terminateAsyncTask();

private:
    /// The receiver of the output.
    struct Receiver {
        std::weak_ptr<qf::Delegate> delegate;
        std::optional<std::string> selector;
        qf::Value object;
    };

    QFTaskEx() = default;

    bool startTimeout(qf::Timeout timeout);
    void timeIsUp();
    void prepareRun(const std::shared_ptr<qf::Process>& child, Receiver receiver);
    void run(const std::shared_ptr<qf::Process>& child);
    void launchUnlessTerminated(qf::Process& child);
    void returnData(const std::shared_ptr<qf::Process>& child,
                    const qf::Notification& notification);
    void deliver(const std::shared_ptr<qf::Process>& child, const qf::Data& chunk);
    void endRun(const std::shared_ptr<qf::Process>& child);

    qf::TaskSlot theTask_;
    /// Guards the receiver, and the launch of a run against its end.
    mutable std::mutex mutex_;
    Receiver receiver_;
};
