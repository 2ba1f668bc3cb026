#include "platform/linux/files/Preallocation.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <algorithm>

namespace qf::native {

namespace {

/// In bytes. Large enough to be worth a call, and small enough that several copies can share what
/// is left on a nearly full disk.
constexpr std::uint64_t pieceSize = 16'777'216;

/// A file below this size, in bytes, is not worth it.
constexpr std::uint64_t leastReservedSize = 1'048'576;

/// On a file system in memory, reserving clears pages that are then written again.
bool isInMemory(int file) {
    struct statfs volume {};
    return ::fstatfs(file, &volume) != 0 || volume.f_type == TMPFS_MAGIC ||
           volume.f_type == RAMFS_MAGIC;
}

} // namespace

void Preallocation::reserve(int file, std::uint64_t position) {
    if (expectedSize_ < leastReservedSize || position < reservedUpTo_ ||
        position >= expectedSize_) {
        return;
    }
    const auto size = std::min(pieceSize, expectedSize_ - position);
    const bool reserved = (reservedUpTo_ != 0 || !isInMemory(file)) &&
                          ::fallocate(file, FALLOC_FL_KEEP_SIZE, static_cast<off_t>(position),
                                      static_cast<off_t>(size)) == 0;
    if (reserved) {
        reservedUpTo_ = position + size;
    } else {
        expectedSize_ = 0;
    }
}

/// Truncating a file to its own size releases the space reserved beyond it.
void Preallocation::release(int file) {
    struct stat status {};
    if (reservedUpTo_ != 0 && ::fstat(file, &status) == 0 &&
        static_cast<std::uint64_t>(status.st_size) < reservedUpTo_) {
        static_cast<void>(::ftruncate(file, status.st_size));
    }
}

} // namespace qf::native
