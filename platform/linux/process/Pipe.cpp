#include "platform/linux/process/Pipe.h"

#include "platform/linux/process/LaunchFailure.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <new>

namespace qf::native {

namespace {

constexpr const char* fileHandleException = exception_name::fileHandleOperation;

/// A pipe's default capacity, and the capacity once a child has filled it, to save context
/// switches.
constexpr std::size_t usualPipeSize = 1U << 16U;
constexpr int largePipeSize = 1 << 20;

/// The memory reserved for output, in larger steps than a vector's own: reserved memory costs
/// nothing until it is used, whereas every step copies all of the data.
constexpr std::array<std::size_t, 4> roomSizes{1U << 16U, 1U << 21U, 1U << 26U, 1UL << 31U};

/// The capacity from which newly reserved memory is not yet backed by pages.
constexpr std::size_t largeRoom = roomSizes[1];

/// Makes room for `count` more bytes.
void makeRoom(std::vector<std::byte>& bytes, std::size_t count) {
    const auto needed = bytes.size() + count;
    if (bytes.capacity() >= needed) {
        return;
    }
    const auto* const size = std::ranges::lower_bound(roomSizes, needed);
    if (size == roomSizes.begin() || size == roomSizes.end()) {
        return;
    }
    try {
        bytes.reserve(*size);
    } catch (const std::bad_alloc&) {
        // Not enough memory: fall back to the vector's own steps.
        return;
    }
}

/// Lets the system back the memory that is about to be written at once instead of page by page. If
/// it refuses, writing is only slower.
void populate(std::byte* start, std::size_t size) {
    static const auto pageSize = static_cast<std::uintptr_t>(::sysconf(_SC_PAGESIZE));
    const auto beyondPageStart = reinterpret_cast<std::uintptr_t>(start) % pageSize;
    ::madvise(start - beyondPageStart, beyondPageStart + size, MADV_POPULATE_WRITE);
}

void append(std::vector<std::byte>& bytes, std::span<const std::byte> chunk) {
    makeRoom(bytes, chunk.size());
    if (bytes.capacity() >= std::max(largeRoom, bytes.size() + chunk.size())) {
        populate(bytes.data() + bytes.size(), chunk.size());
    }
    bytes.insert(bytes.end(), chunk.begin(), chunk.end());
}

/// Wakes waiting readers, one for all pipes of the process: all of them wake, and those not
/// concerned wait again.
int wakeUp() {
    static const auto counter = [] {
        auto made = openedAboveStandardStreams(::eventfd(0, EFD_CLOEXEC | EFD_SEMAPHORE));
        if (!made) {
            throw resourceFailure(made.error(), fileHandleException, "descriptor");
        }
        return made->release();
    }();
    return counter;
}

} // namespace

Pipe::Pipe(PipeEnds ends) : readEnd_(std::move(ends[0])), writeEnd_(std::move(ends[1])) {
    wakeUp();
}

/// Uses a buffer, because the vector would clear the memory before it is read into.
bool Pipe::appendAvailable(std::vector<std::byte>& bytes) {
    std::array<std::byte, usualPipeSize> chunk;
    const auto count = readAvailable(chunk);
    try {
        append(bytes, std::span(chunk).first(count));
    } catch (const std::bad_alloc&) {
        throw Exception(exception_name::outOfMemory, "there is not enough memory for its output");
    }
    return count != 0;
}

std::size_t Pipe::readAvailable(std::span<std::byte> buffer) {
    const std::lock_guard lock(reading_);
    while (!closed_) {
        prepareReading();
        const auto count = ::read(readEnd_.get(), buffer.data(), buffer.size());
        if (count >= 0) {
            const auto size = static_cast<std::size_t>(count);
            if (size >= usualPipeSize && !std::exchange(enlarged_, true)) {
                // If the system refuses, reading is only slower.
                ::fcntl(readEnd_.get(), F_SETPIPE_SZ, largePipeSize);
            }
            return size;
        }
        if (errno == EAGAIN) {
            if (stopsWaiting_) {
                return 0;
            }
            waitUntilReadable();
        } else if (errno != EINTR) {
            throw resourceFailure(Errno::last(), fileHandleException, "readable pipe");
        }
    }
    return 0;
}

/// Makes the read end wait in poll, not in read. Done at the first read, since a child that gets
/// the read end must not see it non-blocking.
void Pipe::prepareReading() {
    if (!std::exchange(prepared_, true)) {
        ::fcntl(readEnd_.get(), F_SETFL, O_RDONLY | O_NONBLOCK);
    }
}

void Pipe::waitUntilReadable() {
    readerWaits_ = true;
    if (!closed_ && !stopsWaiting_) {
        std::array waiting{pollfd{readEnd_.get(), POLLIN, 0}, pollfd{wakeUp(), POLLIN, 0}};
        if (::poll(waiting.data(), waiting.size(), -1) < 0 && errno != EINTR) {
            readerWaits_ = false;
            throw resourceFailure(Errno::last(), fileHandleException, "memory");
        }
    }
    readerWaits_ = false;
}

/// Returns once every waiter has seen the new state.
void Pipe::wakeReader() {
    if (!readerWaits_) {
        return;
    }
    std::uint64_t one = 1;
    static_cast<void>(::write(wakeUp(), &one, sizeof one));
    const std::lock_guard lock(reading_);
    static_cast<void>(::read(wakeUp(), &one, sizeof one));
}

void Pipe::stopWaiting() {
    stopsWaiting_ = true;
    wakeReader();
}

void Pipe::closeReadEnd() {
    closed_ = true;
    wakeReader();
    const std::lock_guard lock(reading_);
    readEnd_.reset();
}

} // namespace qf::native
