#include "platform/linux/process/RunDescriptors.h"

#include "platform/linux/process/LaunchFailure.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

namespace qf::native {

namespace {

/// The number left for the children's own descriptors and the rest of the program, such as its log.
constexpr rlim_t keptForOthers = 32;

SystemResult<PipeEnds> tryToOpenOne() {
    std::array<int, 2> numbers{-1, -1};
    if (::pipe2(numbers.data(), O_CLOEXEC) != 0) {
        return Unexpected(Errno::last());
    }
    PipeEnds ends{FileDescriptor(numbers[0]), FileDescriptor(numbers[1])};
    for (auto& end : ends) {
        auto moved = openedAboveStandardStreams(end.release());
        if (!moved) {
            return Unexpected(moved.error());
        }
        end = *std::move(moved);
    }
    return ends;
}

SystemResult<std::vector<PipeEnds>> tryToOpen(std::size_t count) {
    std::vector<PipeEnds> pipes;
    while (pipes.size() < count) {
        auto pipe = tryToOpenOne();
        if (!pipe) {
            return Unexpected(pipe.error());
        }
        pipes.push_back(*std::move(pipe));
    }
    return pipes;
}

std::vector<PipeEnds> requiredPipes(SystemResult<std::vector<PipeEnds>> pipes) {
    if (!pipes) {
        throw resourceFailure(pipes.error(), exception_name::fileHandleOperation, "pipe");
    }
    return *std::move(pipes);
}

/// The system assigns the lowest descriptors first.
bool takesWhatIsKept(const std::vector<PipeEnds>& pipes) {
    rlimit limit{};
    ::getrlimit(RLIMIT_NOFILE, &limit);
    return std::ranges::any_of(pipes, [&limit](const PipeEnds& pipe) {
        return static_cast<rlim_t>(std::max(pipe[0].get(), pipe[1].get())) + keptForOthers >=
               limit.rlim_cur;
    });
}

bool tooFewAreLeft(const SystemResult<std::vector<PipeEnds>>& pipes) {
    return pipes ? takesWhatIsKept(*pipes) : failedWith(pipes, EMFILE);
}

} // namespace

RunDescriptors& RunDescriptors::shared() {
    constexpr std::chrono::minutes patience(1);
    static auto& only = *new RunDescriptors(patience);
    return only;
}

void RunDescriptors::opened() {
    const std::lock_guard lock(mutex_);
    ++open_;
}

void RunDescriptors::closed() {
    const std::lock_guard lock(mutex_);
    --open_;
    ++closings_;
    closed_.notify_one();
}

std::uint64_t RunDescriptors::closings() const {
    const std::lock_guard lock(mutex_);
    return closings_;
}

PipeEnds RunDescriptors::openPipe() {
    return std::move(requiredPipes(tryToOpen(1)).front());
}

std::vector<PipeEnds> RunDescriptors::openPipes(std::size_t count) {
    const std::lock_guard turn(turn_);
    for (bool mayWait = true;;) {
        const auto before = closings();
        if (auto pipes = tryToOpen(count); !mayWait || !tooFewAreLeft(pipes)) {
            return requiredPipes(std::move(pipes));
        }
        mayWait = waitForClosing(before);
    }
}

/// Waits until a run has closed something since that number of closings. Returns false if no run
/// has anything to close, or none does in time.
bool RunDescriptors::waitForClosing(std::uint64_t closings) {
    std::unique_lock lock(mutex_);
    const auto hasClosed = [&] { return closings_ != closings; };
    return (open_ > 0 || hasClosed()) && closed_.wait_for(lock, patience_, hasClosed);
}

RunDescriptor::RunDescriptor(FileDescriptor descriptor) : descriptor_(std::move(descriptor)) {
    if (descriptor_) {
        RunDescriptors::shared().opened();
    }
}

RunDescriptor& RunDescriptor::operator=(RunDescriptor&& other) noexcept {
    reset();
    descriptor_ = std::move(other.descriptor_);
    return *this;
}

void RunDescriptor::reset() {
    if (descriptor_) {
        descriptor_.reset();
        RunDescriptors::shared().closed();
    }
}

} // namespace qf::native
