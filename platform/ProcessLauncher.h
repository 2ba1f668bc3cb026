#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace platform {

/// A pipe between the program and one child. The child's end leaves the program when the child is
/// launched; what the program keeps is closed, if it is not yet, with the last owner.
class Pipe {
public:
    Pipe() = default;
    virtual ~Pipe() = default;
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;
    Pipe(Pipe&&) = delete;
    Pipe& operator=(Pipe&&) = delete;

    /// Appends what the child has written, waiting until there is something. False means that there
    /// will be nothing more: every writer has closed its end, or the read end is closed here.
    /// Throws platform::Exception "NSFileHandleOperationException" when the system cannot read, and
    /// "NSMallocException" when there is no memory for what was written. One thread at a time
    /// reads.
    virtual bool appendAvailable(std::vector<std::byte>& bytes) = 0;

    /// From now on reads append what is there and wait for nothing more, after which they return
    /// false. A read that waits on another thread ends. Any thread, any number of times.
    virtual void stopWaiting() = 0;

    /// Closes the read end, after which the child cannot write any more. A read that waits on
    /// another thread ends with false. Any thread, any number of times.
    virtual void closeReadEnd() = 0;
};

/// What one of a child's standard streams is connected with.
class ChildStream {
public:
    /// Which of the three below it is.
    enum class Kind { inherited, nullDevice, pipe };

    /// The program's own stream; the null device where the program has it closed.
    static ChildStream inherited() { return ChildStream(Kind::inherited, nullptr); }
    /// Reads nothing, swallows all.
    static ChildStream nullDevice() { return ChildStream(Kind::nullDevice, nullptr); }
    /// The other end of a pipe that the launcher made.
    static ChildStream through(std::shared_ptr<Pipe> pipe) { return {Kind::pipe, std::move(pipe)}; }

    /// The kind, and the pipe; null for the other kinds.
    Kind kind() const { return kind_; }
    const std::shared_ptr<Pipe>& pipe() const { return pipe_; }

private:
    ChildStream(Kind kind, std::shared_ptr<Pipe> pipe) : kind_(kind), pipe_(std::move(pipe)) {}

    Kind kind_;
    std::shared_ptr<Pipe> pipe_;
};

/// What to launch, and how.
struct ProcessDescription {
    /// The executable: an absolute path, or one relative to the working directory.
    std::string launchPath;
    /// What follows the launch path on the child's command line.
    std::vector<std::string> arguments;
    /// The child's whole environment; without one it has the program's.
    std::optional<std::map<std::string, std::string>> environment;
    ChildStream standardInput = ChildStream::inherited();
    ChildStream standardOutput = ChildStream::inherited();
    ChildStream standardError = ChildStream::inherited();
};

/// A launched child. Any thread may call every member. Giving up the last owner neither ends the
/// child nor leaves it a zombie.
class ChildProcess {
public:
    ChildProcess() = default;
    virtual ~ChildProcess() = default;
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;
    ChildProcess(ChildProcess&&) = delete;
    ChildProcess& operator=(ChildProcess&&) = delete;

    /// The number by which the system knows the child while it runs.
    virtual long processIdentifier() const = 0;

    /// Whether the child has not ended.
    virtual bool isRunning() = 0;

    /// Returns when the child has ended; the child's own children may live on. Where the child
    /// needs the program's terminal, which it would otherwise stop at, it has that, and with it
    /// what is typed there, until it has ended. What a child that was killed has changed about the
    /// terminal is changed back.
    virtual void waitUntilExit() = 0;

    /// Asks the child, and those of its children that stayed in its group, to end, also those that
    /// are stopped. They may refuse. Nothing happens when the child has ended.
    virtual void terminate() = 0;

    /// Once the child has ended, reads of the pipes that it was connected with end with what is
    /// there, and wait for nobody to whom the child has handed them on.
    virtual void endOutputWithChild() = 0;

    /// The exit status of a child that has ended, or the number of the signal that ended it.
    virtual int terminationStatus() = 0;
};

/// Launches other programs. Any thread may call every member.
class ProcessLauncher {
public:
    static constexpr const char* portName = "ProcessLauncher";
    virtual ~ProcessLauncher() = default;

    /// Throws platform::Exception "NSFileHandleOperationException" when the system has none left.
    virtual std::shared_ptr<Pipe> makePipe() = 0;

    /// Makes all the pipes of one child, or none. While other children and their pipes take so many
    /// descriptors that too few are left for these, it waits until some are given back; a minute
    /// without that counts as having none left. Throws as makePipe.
    virtual std::vector<std::shared_ptr<Pipe>> makePipes(std::size_t count) = 0;

    /// Launches a child, in a process group of its own, and returns when its program has begun.
    ///
    /// All that the program needs to follow the child is had before its program begins: what was
    /// launched is never taken back. A child that is given the program's environment has it as it
    /// is at one moment, as long as others change it through what the platform has for that.
    ///
    /// The child has its three standard streams and no other descriptor of the program's; every
    /// signal is at its default and none is blocked, whatever they are in the program. A system
    /// tool that this machine replaces by a stand-in is the stand-in, under the tool's name.
    ///
    /// Throws platform::Exception with a reason that names what to mend:
    /// "NSInvalidArgumentException" when the description cannot be launched (no path, nothing or no
    /// program at the path, an interpreter that is missing, too many arguments, a zero byte),
    /// "NSGenericException" when the system has no process, memory or descriptor left.
    virtual std::shared_ptr<ChildProcess> launch(const ProcessDescription& description) = 0;
};

} // namespace platform
