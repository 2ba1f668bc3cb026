#pragma once

#include "platform/linux/posix/Errno.h"

#include <unistd.h>

#include <cerrno>
#include <utility>

namespace qf::native {

/// Owns at most one open file descriptor, and closes it. Not shared between threads.
class FileDescriptor {
public:
    FileDescriptor() = default;
    explicit FileDescriptor(int descriptor) : descriptor_(descriptor) {}
    ~FileDescriptor() { reset(); }

    FileDescriptor(FileDescriptor&& other) noexcept : descriptor_(other.release()) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        if (this != &other) {
            reset();
            descriptor_ = other.release();
        }
        return *this;
    }
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;

    explicit operator bool() const { return descriptor_ >= 0; }
    int get() const { return descriptor_; }

    /// Releases the descriptor, which the caller must close.
    int release() { return std::exchange(descriptor_, -1); }

    /// Closes the descriptor. Preserves errno.
    void reset() {
        if (descriptor_ >= 0) {
            const int error = errno;
            ::close(release());
            errno = error;
        }
    }

private:
    int descriptor_ = -1;
};

/// Takes the result of a system call that returns a new descriptor.
inline SystemResult<FileDescriptor> opened(int descriptor) {
    if (descriptor < 0) {
        return Unexpected(Errno::last());
    }
    return FileDescriptor(descriptor);
}

/// Moves a descriptor above those of the three standard streams, so that nobody who reopens a
/// standard stream closes it, and a child's streams can be set up without collisions.
FileDescriptor aboveStandardStreams(FileDescriptor descriptor);

/// Takes the result of a system call that returns a new descriptor, and moves the descriptor above
/// those of the three standard streams.
SystemResult<FileDescriptor> openedAboveStandardStreams(int descriptor);

} // namespace qf::native
