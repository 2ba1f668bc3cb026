#pragma once

#include "platform/linux/posix/Errno.h"

#include <unistd.h>

#include <utility>

namespace platform::native {

/// Owns one open file descriptor, or none, and closes it. Not shared between threads.
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

    /// Gives the descriptor away, which is then the caller's to close.
    int release() { return std::exchange(descriptor_, -1); }

    /// Closes the descriptor. The caller's errno survives.
    void reset();

private:
    int descriptor_ = -1;
};

/// Takes what a system call that opens something has returned.
inline SystemResult<FileDescriptor> opened(int descriptor) {
    if (descriptor < 0) {
        return Unexpected(Errno::last());
    }
    return FileDescriptor(descriptor);
}

/// Moves a descriptor above those of the three standard streams: there nobody closes it who opens
/// those anew, and another process's streams are put together without two of them meeting.
FileDescriptor aboveStandardStreams(FileDescriptor descriptor);

} // namespace platform::native
