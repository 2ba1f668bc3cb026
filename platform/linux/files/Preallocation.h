#pragma once

#include <cstdint>

namespace platform::native {

/// Has the file system find room for a file in large pieces before they are written, which costs
/// less than finding it for each write. Only a help: where it fails, or where it would cost more
/// (in memory), writing goes on without it. One thread at a time.
class Preallocation {
public:
    /// For a file that is expected to become so many bytes; with 0 nothing is ever reserved.
    explicit Preallocation(std::uint64_t expectedSize) : expectedSize_(expectedSize) {}

    /// To be called before something is written at a position, in bytes: reserves the piece that
    /// begins there, but never beyond the expected size. The file's size stays.
    void reserve(int file, std::uint64_t position);

    /// Gives back what lies behind the file's end.
    void release(int file);

private:
    std::uint64_t expectedSize_;
    std::uint64_t reservedUpTo_ = 0;
};

} // namespace platform::native
