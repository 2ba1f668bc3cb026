#include "platform/linux/files/FileContent.h"

#include "platform/linux/posix/BlockSigxfsz.h"
#include "platform/linux/posix/SystemCall.h"

#include <linux/fs.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace qf::native {

namespace {

constexpr std::size_t blockSize = 256UL * 1024;

/// A block of zeros, as a hole reads.
constexpr std::size_t pageSize = 4096;

/// The unit of stx_blocks.
constexpr std::uint64_t sectorSize = 512;

/// The bytes to request from one copy_file_range(), which cannot be interrupted.
constexpr std::size_t rangeSize = 128UL * 1024 * 1024;

bool hasHoles(const struct statx& status) {
    return status.stx_blocks * sectorSize < status.stx_size;
}

/// Reads until the block is full or the file ends. Returns the number of bytes read.
SystemResult<std::size_t> readBlock(int file, std::vector<char>& block, off_t offset) {
    std::size_t size = 0;
    while (size < block.size()) {
        const auto count = retryOnEintr([&] {
            return ::pread(file, block.data() + size, block.size() - size,
                           offset + static_cast<off_t>(size));
        });
        if (count < 0) {
            return Unexpected(Errno::last());
        }
        if (count == 0) {
            break;
        }
        size += static_cast<std::size_t>(count);
    }
    return size;
}

SystemResult<void> writeAt(int file, std::string_view content, off_t offset) {
    while (!content.empty()) {
        const auto count =
            retryOnEintr([&] { return ::pwrite(file, content.data(), content.size(), offset); });
        if (count <= 0) {
            return Unexpected(count < 0 ? Errno::last() : Errno(EIO));
        }
        content.remove_prefix(static_cast<std::size_t>(count));
        offset += count;
    }
    return {};
}

bool isZero(std::string_view page) {
    return page.front() == 0 && std::memcmp(page.data(), page.data() + 1, page.size() - 1) == 0;
}

/// Writes the blocks that are not zero, in as few calls as possible.
SystemResult<void> writeWithHoles(int file, std::string_view content, off_t offset) {
    std::size_t begin = 0;
    for (std::size_t end = 0; begin < content.size(); begin = end) {
        const auto skipsHole = isZero(content.substr(begin, pageSize));
        end = begin;
        while (end < content.size() && isZero(content.substr(end, pageSize)) == skipsHole) {
            end = std::min(end + pageSize, content.size());
        }
        if (skipsHole) {
            continue;
        }
        auto written =
            writeAt(file, content.substr(begin, end - begin), offset + static_cast<off_t>(begin));
        if (!written) {
            return written;
        }
    }
    return {};
}

} // namespace

SystemResult<void> FileContent::copy(int source, const struct statx& status, int copy) {
    blockSigxfsz();
    const CopyPair files{.source = source, .copy = copy};
    if (share(files)) {
        return {};
    }
    const bool withHoles = hasHoles(status);
    const bool isSmall = status.stx_size < blockSize;
    const off_t copied = withHoles || isSmall ? 0 : copyRanges(files);
    return copyBlocks(files, copied, withHoles);
}

bool FileContent::share(const CopyPair& files) {
    if (!canShare_) {
        return false;
    }
    const auto shared = checked(::ioctl(files.copy, FICLONE, files.source));
    // Any other failure is about this file alone.
    canShare_ = !failedWith(shared, EOPNOTSUPP, ENOTTY, EXDEV);
    return shared.ok();
}

/// Lets the kernel copy by itself. Returns how many bytes of the file it copied.
off_t FileContent::copyRanges(const CopyPair& files) {
    off_t copied = 0;
    while (canCopyRanges_) {
        const auto count = retryOnEintr([&] {
            return ::copy_file_range(files.source, nullptr, files.copy, nullptr, rangeSize, 0);
        });
        canCopyRanges_ = count >= 0;
        if (count <= 0) {
            break;
        }
        copied += count;
    }
    return copied;
}

/// Copies what follows `offset` by reading and writing.
SystemResult<void> FileContent::copyBlocks(const CopyPair& files, off_t offset, bool withHoles) {
    block_.resize(blockSize);
    for (;;) {
        const auto size = readBlock(files.source, block_, offset);
        if (!size) {
            return Unexpected(size.error());
        }
        const std::string_view content(block_.data(), *size);
        auto written = withHoles ? writeWithHoles(files.copy, content, offset)
                                 : writeAt(files.copy, content, offset);
        if (!written) {
            return written;
        }
        offset += static_cast<off_t>(*size);
        if (content.size() < block_.size()) {
            break;
        }
    }
    return withHoles ? checked(::ftruncate(files.copy, offset)) : SystemResult<void>();
}

SystemResult<void> FileContent::compare(int one, int other) {
    block_.resize(blockSize);
    otherBlock_.resize(blockSize);
    for (off_t offset = 0;;) {
        const auto size = readBlock(one, block_, offset);
        if (!size) {
            return Unexpected(size.error());
        }
        const auto otherSize = readBlock(other, otherBlock_, offset);
        if (!otherSize) {
            return Unexpected(otherSize.error());
        }
        if (*size != *otherSize || std::memcmp(block_.data(), otherBlock_.data(), *size) != 0) {
            return Unexpected(Errno(EIO));
        }
        if (*size < block_.size()) {
            return {};
        }
        offset += static_cast<off_t>(*size);
    }
}

} // namespace qf::native
