#include "platform/foundation/Process.h"

#include "platform/Services.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <new>
#include <vector>

namespace platform {

namespace {

/// Makes room for one more chunk, in larger steps than a vector takes by itself: memory that is
/// reserved costs nothing until it is used, whereas every step copies all that is there. Where so
/// much is not to be had, the vector's own steps have to do.
void makeRoom(std::vector<std::byte>& bytes, std::size_t chunkSize) {
    constexpr std::size_t large = std::size_t{1} << 30U;
    if (bytes.capacity() - bytes.size() >= chunkSize) {
        return;
    }
    const std::size_t factor = bytes.capacity() < large ? 32 : 2;
    try {
        bytes.reserve(std::max(bytes.size() + chunkSize, factor * bytes.capacity()));
    } catch (const std::bad_alloc&) {
        return;
    }
}

} // namespace

void Process::launch() {
    const std::lock_guard lock(mutex_);
    if (child_ != nullptr) {
        throw Exception("NSInvalidArgumentException",
                        "the task " + description_.launchPath + " is already launched");
    }
    child_ = service<ProcessLauncher>().launch(description_);
}

std::shared_ptr<ChildProcess> Process::launched() const {
    const std::lock_guard lock(mutex_);
    if (child_ == nullptr) {
        throw Exception("NSInvalidArgumentException",
                        "the task " + description_.launchPath + " is not launched");
    }
    return child_;
}

bool Process::isRunning() const {
    const std::lock_guard lock(mutex_);
    return child_ != nullptr && child_->isRunning();
}

void Process::waitUntilExit() const {
    launched()->waitUntilExit();
}

void Process::terminate() const {
    launched()->terminate();
}

int Process::terminationStatus() const {
    const auto child = launched();
    if (child->isRunning()) {
        throw Exception("NSInvalidArgumentException",
                        "the task " + description_.launchPath + " is still running");
    }
    return child->terminationStatus();
}

long Process::processIdentifier() const {
    return launched()->processIdentifier();
}

/// By way of a buffer: the vector would clear what is then read into it, and again what was not.
bool appendAvailableData(Pipe& pipe, Data& data) {
    std::array<std::byte, 65536> chunk;
    const auto count = pipe.readAvailable(chunk);
    makeRoom(data.bytes, count);
    data.bytes.insert(data.bytes.end(), chunk.begin(),
                      chunk.begin() + static_cast<std::ptrdiff_t>(count));
    return count != 0;
}

Data availableData(Pipe& pipe) {
    Data data;
    appendAvailableData(pipe, data);
    return data;
}

} // namespace platform
