#include "platform/linux/files/FileContent.h"

#include "platform/linux/posix/FileSizeSignal.h"
#include "platform/linux/posix/SystemCall.h"

#include <linux/fs.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace platform::native {

namespace {

constexpr std::size_t blockSize = 256UL * 1024;

/// What holes are made of.
constexpr std::size_t pageSize = 4096;

/// The unit of stx_blocks.
constexpr std::uint64_t sectorSize = 512;

/// What one copy_file_range() is asked for: it cannot be interrupted in between.
constexpr std::size_t rangeSize = 128UL * 1024 * 1024;

bool hasHoles(const struct statx& status) {
    return status.stx_blocks * sectorSize < status.stx_size;
}

/// Reads until the block is full or the file ends. Gives the number of bytes, or -1 with errno.
ssize_t readBlock(int file, std::vector<char>& block, off_t offset) {
    std::size_t size = 0;
    while (size < block.size()) {
        const auto count = uninterrupted([&] {
            return ::pread(file, block.data() + size, block.size() - size,
                           offset + static_cast<off_t>(size));
        });
        if (count < 0) {
            return -1;
        }
        if (count == 0) {
            break;
        }
        size += static_cast<std::size_t>(count);
    }
    return static_cast<ssize_t>(size);
}

/// Gives 0, or the errno.
int writeAt(int file, std::string_view content, off_t offset) {
    while (!content.empty()) {
        const auto count =
            uninterrupted([&] { return ::pwrite(file, content.data(), content.size(), offset); });
        if (count <= 0) {
            return count < 0 ? errno : EIO;
        }
        content.remove_prefix(static_cast<std::size_t>(count));
        offset += count;
    }
    return 0;
}

bool isZero(std::string_view page) {
    return page.front() == 0 && std::memcmp(page.data(), page.data() + 1, page.size() - 1) == 0;
}

/// Writes what is not zero, in as few calls as that takes. Gives 0, or the errno.
int writeWithHoles(int file, std::string_view content, off_t offset) {
    std::size_t begin = 0;
    for (std::size_t end = 0; begin < content.size(); begin = end) {
        const auto skipsHole = isZero(content.substr(begin, pageSize));
        end = begin;
        while (end < content.size() && isZero(content.substr(end, pageSize)) == skipsHole) {
            end = std::min(end + pageSize, content.size());
        }
        const int error = skipsHole ? 0
                                    : writeAt(file, content.substr(begin, end - begin),
                                              offset + static_cast<off_t>(begin));
        if (error != 0) {
            return error;
        }
    }
    return 0;
}

} // namespace

int FileContent::copy(int source, const struct statx& status, int copy) {
    holdBackFileSizeSignal();
    if (share(source, copy)) {
        return 0;
    }
    const bool withHoles = hasHoles(status);
    const bool isSmall = status.stx_size < blockSize;
    const off_t copied = withHoles || isSmall ? 0 : copyRanges(source, copy);
    return copyBlocks(source, copy, copied, withHoles);
}

bool FileContent::share(int source, int copy) {
    canShare_ = canShare_ && ::ioctl(copy, FICLONE, source) == 0;
    return canShare_;
}

/// Lets the kernel copy by itself. Gives how much of the file it did.
off_t FileContent::copyRanges(int source, int copy) {
    off_t copied = 0;
    while (canCopyRanges_) {
        const auto count = uninterrupted(
            [&] { return ::copy_file_range(source, nullptr, copy, nullptr, rangeSize, 0); });
        canCopyRanges_ = count >= 0;
        if (count <= 0) {
            break;
        }
        copied += count;
    }
    return copied;
}

/// Reads and writes what follows `offset`. Gives 0, or the errno.
int FileContent::copyBlocks(int source, int copy, off_t offset, bool withHoles) {
    block_.resize(blockSize);
    for (;;) {
        const auto size = readBlock(source, block_, offset);
        if (size < 0) {
            return errno;
        }
        const std::string_view content(block_.data(), static_cast<std::size_t>(size));
        const int error =
            withHoles ? writeWithHoles(copy, content, offset) : writeAt(copy, content, offset);
        if (error != 0) {
            return error;
        }
        offset += size;
        if (content.size() < block_.size()) {
            break;
        }
    }
    return !withHoles || ::ftruncate(copy, offset) == 0 ? 0 : errno;
}

int FileContent::compare(int one, int other) {
    block_.resize(blockSize);
    otherBlock_.resize(blockSize);
    for (off_t offset = 0;;) {
        const auto size = readBlock(one, block_, offset);
        const auto otherSize = size < 0 ? -1 : readBlock(other, otherBlock_, offset);
        if (otherSize < 0) {
            return errno;
        }
        const auto length = static_cast<std::size_t>(size);
        if (size != otherSize || std::memcmp(block_.data(), otherBlock_.data(), length) != 0) {
            return EIO;
        }
        if (length < block_.size()) {
            return 0;
        }
        offset += size;
    }
}

} // namespace platform::native
