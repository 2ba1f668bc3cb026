#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace qf {

/// A pipe between the program and one child. The program's copy of the child's end is closed when
/// the child is launched; the end that the program keeps is closed by the last owner, if not
/// before.
class Pipe {
public:
    Pipe() = default;
    virtual ~Pipe() = default;
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;
    Pipe(Pipe&&) = delete;
    Pipe& operator=(Pipe&&) = delete;

    /// Appends what the child has written, waiting until there is data. Returns false at the end of
    /// the data: every writer has closed its end, or closeReadEnd() was called. Throws
    /// qf::Exception "NSFileHandleOperationException" if reading fails, and
    /// "NSMallocException" if there is not enough memory for the data. Only one thread may read at
    /// a time.
    virtual bool appendAvailable(std::vector<std::byte>& bytes) = 0;

    /// Makes reads append only the data that is already there, and then return false, without
    /// waiting. A read that waits on another thread ends. Any thread, any number of times.
    virtual void stopWaiting() = 0;

    /// Closes the read end, after which the child's writes fail. A read that waits on another
    /// thread returns false. Any thread, any number of times.
    virtual void closeReadEnd() = 0;
};

/// What one of a child's standard streams is connected to.
class ChildStream {
public:
    /// The three kinds of connection below.
    enum class Kind { inherited, nullDevice, pipe };

    /// Returns the program's own stream; the null device if the program has it closed.
    static ChildStream inherited() { return ChildStream(Kind::inherited, nullptr); }
    /// Returns the null device.
    static ChildStream nullDevice() { return ChildStream(Kind::nullDevice, nullptr); }
    /// Returns the other end of a pipe that the launcher made.
    static ChildStream through(std::shared_ptr<Pipe> pipe) { return {Kind::pipe, std::move(pipe)}; }

    /// Return the kind, and the pipe, which is null for the other kinds.
    Kind kind() const { return kind_; }
    const std::shared_ptr<Pipe>& pipe() const { return pipe_; }

private:
    ChildStream(Kind kind, std::shared_ptr<Pipe> pipe) : kind_(kind), pipe_(std::move(pipe)) {}

    Kind kind_;
    std::shared_ptr<Pipe> pipe_;
};

/// A description of the program to launch.
struct ProcessDescription {
    /// The executable: an absolute path, or one relative to the working directory.
    std::string launchPath;
    /// The arguments that follow the launch path on the child's command line.
    std::vector<std::string> arguments;
    /// The child's whole environment; if missing, the child inherits the program's.
    std::optional<std::map<std::string, std::string>> environment;
    ChildStream standardInput = ChildStream::inherited();
    ChildStream standardOutput = ChildStream::inherited();
    ChildStream standardError = ChildStream::inherited();
    /// Whether the child leaves the program's terminal: it can neither read from it nor type there.
    bool leavesTerminal = false;
};

/// A launched child. Any thread may call every member. Destroying it neither ends the child nor
/// leaves a zombie.
class ChildProcess {
public:
    ChildProcess() = default;
    virtual ~ChildProcess() = default;
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;
    ChildProcess(ChildProcess&&) = delete;
    ChildProcess& operator=(ChildProcess&&) = delete;

    /// Returns the child's process identifier, valid while the child runs.
    virtual long processIdentifier() const = 0;

    /// Returns whether the child has not ended.
    virtual bool isRunning() = 0;

    /// Waits until the child has ended; the child's own children may live on. A child that needs
    /// the program's terminal, and would otherwise be stopped, gets it, with what is typed there,
    /// until the child has ended. If the child was killed, its changes to the terminal settings are
    /// undone.
    virtual void waitUntilExit() = 0;

    /// Asks the child, and those of its children that stayed in its group, to end, including
    /// stopped ones. They may refuse. Does nothing if the child has ended.
    virtual void terminate() = 0;

    /// Ends the child, and those of its children that stayed in its group, at once. They cannot
    /// refuse. Does nothing if the child has ended.
    virtual void kill() = 0;

    /// Makes reads of the child's pipes end with the data that is there once the child has ended,
    /// without waiting for processes that inherited the pipes from the child.
    virtual void endOutputWithChild() = 0;

    /// Returns the exit status of a child that has ended, or the number of the signal that ended
    /// it.
    virtual int terminationStatus() = 0;
};

/// Launches other programs. Any thread may call every member.
class ProcessLauncher {
public:
    static constexpr const char* portName = "ProcessLauncher";
    virtual ~ProcessLauncher() = default;

    /// Returns whether the current user may execute the item at the path; links are followed. For a
    /// system tool that this machine replaces by a stand-in, tests the stand-in. Only a launch
    /// shows whether the item is a program: a directory that the user may enter passes, too.
    virtual bool canLaunch(const std::string& path) = 0;

    /// Makes a pipe. Throws qf::Exception "NSFileHandleOperationException" if the system has
    /// none left.
    virtual std::shared_ptr<Pipe> makePipe() = 0;

    /// Makes all the pipes of one child, or none. While other children and their pipes use so many
    /// descriptors that too few are left, waits until some are released; a minute without a release
    /// counts as having none left. Throws as makePipe does.
    virtual std::vector<std::shared_ptr<Pipe>> makePipes(std::size_t count) = 0;

    /// Launches a child, in its own process group, and returns when its program has begun.
    ///
    /// Everything needed to watch the child is acquired before its program begins: a launched child
    /// is never taken back. A child that inherits the program's environment gets a consistent
    /// snapshot, provided that others change the environment through the platform's functions.
    ///
    /// The child gets its three standard streams and no other descriptor of the program; every
    /// signal has its default action and none is blocked, whatever the program's settings are. For
    /// a system tool that this machine replaces by a stand-in, launches the stand-in under the
    /// tool's name.
    ///
    /// Throws qf::Exception with a reason that names what to fix:
    /// "NSInvalidArgumentException" if the description cannot be launched (no path, nothing or not
    /// a program at the path, a missing interpreter, too many arguments, a zero byte),
    /// "NSGenericException" if the system has no process, memory or descriptor left.
    virtual std::shared_ptr<ChildProcess> launch(const ProcessDescription& description) = 0;
};

} // namespace qf
