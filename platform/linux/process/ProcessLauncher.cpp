#include "platform/linux/process/ProcessLauncher.h"

#include "platform/linux/posix/LongPath.h"
#include "platform/linux/process/Child.h"
#include "platform/linux/process/ChildReaper.h"
#include "platform/linux/process/Environment.h"
#include "platform/linux/process/LaunchFailure.h"
#include "platform/linux/process/Pipe.h"
#include "platform/linux/process/RunDescriptors.h"
#include "platform/linux/process/SpawnOptions.h"
#include "platform/linux/process/ToolOverlay.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <functional>
#include <utility>
#include <vector>

namespace qf::native {

namespace {

/// Strings in the form that the system takes for command lines and environments.
class StringList {
public:
    void add(std::string text) { texts_.push_back(std::move(text)); }

    char* const* get() {
        pointers_.clear();
        for (std::string& text : texts_) {
            pointers_.push_back(text.data());
        }
        pointers_.push_back(nullptr);
        return pointers_.data();
    }

private:
    std::vector<std::string> texts_;
    std::vector<char*> pointers_;
};

StringList commandLine(const ProcessDescription& description) {
    StringList list;
    list.add(description.launchPath);
    for (const std::string& argument : description.arguments) {
        list.add(argument);
    }
    return list;
}

StringList environmentList(const ProcessDescription& description) {
    StringList list;
    if (description.environment) {
        for (const auto& [name, value] : *description.environment) {
            list.add(std::string(name).append("=").append(value));
        }
    }
    return list;
}

/// A stream that was closed before the program began may since have been reused as a descriptor for
/// something else, which is then closed on exec.
bool isOpenForChildren(int stream) {
    const int flags = ::fcntl(stream, F_GETFD);
    return flags >= 0 && (flags & FD_CLOEXEC) == 0;
}

Pipe& pipeOf(const ChildStream& stream) {
    return dynamic_cast<Pipe&>(*stream.pipe());
}

void connect(SpawnOptions& options, const ChildStream& stream, int number, int nullDevice) {
    if (stream.kind() == ChildStream::Kind::pipe) {
        const Pipe& pipe = pipeOf(stream);
        options.connect(number == STDIN_FILENO ? pipe.readEnd() : pipe.writeEnd(), number);
    } else if (stream.kind() == ChildStream::Kind::nullDevice || !isOpenForChildren(number)) {
        if (nullDevice < 0) {
            throw resourceFailure(Errno(ENODEV), exception_name::generic, "null device");
        }
        options.connect(nullDevice, number);
    }
}

/// Closes the child's ends here, so that the pipes end when the child closes its own.
void giveAwayChildEnds(const ProcessDescription& description) {
    if (description.standardInput.kind() == ChildStream::Kind::pipe) {
        pipeOf(description.standardInput).closeReadEnd();
    }
    for (const auto* stream : {&description.standardOutput, &description.standardError}) {
        if (stream->kind() == ChildStream::Kind::pipe) {
            pipeOf(*stream).closeWriteEnd();
        }
    }
}

/// Code that bypasses the port may change the environment just while the system reads it, which
/// then fails.
SystemResult<void>
spawnWithProgramsEnvironment(const std::function<SystemResult<void>(char* const*)>& attempt) {
    constexpr int mostAttempts = 1000;
    const auto still = Environment::holdStill();
    auto result = attempt(::environ);
    for (int count = 1; count < mostAttempts && failedWith(result, EFAULT); ++count) {
        result = attempt(::environ);
    }
    return result;
}

/// Returns the pipes that the child writes to.
std::vector<std::weak_ptr<qf::Pipe>> outputOf(const ProcessDescription& description) {
    std::vector<std::weak_ptr<qf::Pipe>> pipes;
    for (const auto* stream : {&description.standardOutput, &description.standardError}) {
        if (stream->kind() == ChildStream::Kind::pipe) {
            pipes.emplace_back(stream->pipe());
        }
    }
    return pipes;
}

pid_t spawn(const ProcessDescription& description, const SpawnOptions& options) {
    const std::string program = resolveTool(description.launchPath);
    auto arguments = commandLine(description);
    auto environment = environmentList(description);
    pid_t identifier = 0;
    const auto attempt = [&](char* const* variables) {
        return checkedNumber(::posix_spawn(&identifier, program.c_str(), options.actions(),
                                           options.attributes(), arguments.get(), variables));
    };
    const auto spawned = description.environment ? attempt(environment.get())
                                                 : spawnWithProgramsEnvironment(attempt);
    if (!spawned) {
        throw launchFailure(spawned.error(), description.launchPath, program);
    }
    return identifier;
}

} // namespace

ProcessLauncher::ProcessLauncher()
    : nullDevice_(aboveStandardStreams(FileDescriptor(::open("/dev/null", O_RDWR | O_CLOEXEC)))) {
    struct sigaction action {};
    ::sigaction(SIGCHLD, nullptr, &action);
    if (action.sa_handler == SIG_IGN || (action.sa_flags & SA_NOCLDWAIT) != 0) {
        std::signal(SIGCHLD, SIG_DFL);
    }
}

bool ProcessLauncher::canLaunch(const std::string& path) {
    return atPath(resolveTool(path),
                  [](int directory, const char* rest) {
                      return ::faccessat(directory, rest, X_OK, AT_EACCESS);
                  })
        .ok();
}

std::shared_ptr<qf::Pipe> ProcessLauncher::makePipe() {
    return std::make_shared<Pipe>(RunDescriptors::openPipe());
}

std::vector<std::shared_ptr<qf::Pipe>> ProcessLauncher::makePipes(std::size_t count) {
    std::vector<std::shared_ptr<qf::Pipe>> pipes;
    for (auto& ends : RunDescriptors::shared().openPipes(count)) {
        pipes.push_back(std::make_shared<Pipe>(std::move(ends)));
    }
    return pipes;
}

std::shared_ptr<ChildProcess> ProcessLauncher::launch(const ProcessDescription& description) {
    checkDescription(description);
    ChildReaper& reaper = ChildReaper::shared();
    SpawnOptions options;
    connect(options, description.standardInput, STDIN_FILENO, nullDevice_.get());
    connect(options, description.standardOutput, STDOUT_FILENO, nullDevice_.get());
    connect(options, description.standardError, STDERR_FILENO, nullDevice_.get());
    options.closeOthers();
    if (description.leavesTerminal) {
        options.beginSession();
    }
    const auto child = std::make_shared<Child>(outputOf(description));
    auto place = ChildReaper::placeFor(child);
    child->begin(spawn(description, options));
    giveAwayChildEnds(description);
    reaper.watch(std::move(place));
    return child;
}

} // namespace qf::native
