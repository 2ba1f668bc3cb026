#pragma once

#include <cstdint>

namespace qf::native {

/// Allocates disk space for a file in large pieces before they are written, which costs less than
/// allocating it for each write. Only an optimization: if it fails, or would cost more (on a file
/// system in memory), writing goes on without it. Not shared between threads.
class Preallocation {
public:
    /// Prepares for a file of the expected size in bytes; 0 never reserves anything.
    explicit Preallocation(std::uint64_t expectedSize) : expectedSize_(expectedSize) {}

    /// Must be called before each write at a position, in bytes: reserves the piece that begins
    /// there, but never beyond the expected size. The file's size does not change.
    void reserve(int file, std::uint64_t position);

    /// Releases the space beyond the file's end.
    void release(int file);

private:
    std::uint64_t expectedSize_;
    std::uint64_t reservedUpTo_ = 0;
};

} // namespace qf::native
