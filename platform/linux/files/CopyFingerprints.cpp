#include "platform/linux/files/CopyFingerprints.h"

#include <algorithm>
#include <array>

namespace platform::native {

void CopyFingerprints::close() {
    std::ranges::sort(fingerprints_);
}

bool CopyFingerprints::contains(const struct statx& status) const {
    return std::ranges::binary_search(fingerprints_, fingerprint(status));
}

std::uint64_t CopyFingerprints::fingerprint(const struct statx& status) {
    const bool isDirectory = S_ISDIR(status.stx_mode);
    const std::array<std::uint64_t, 7> facts{
        status.stx_dev_major,
        status.stx_dev_minor,
        status.stx_ino,
        status.stx_mode & static_cast<unsigned>(S_IFMT),
        isDirectory ? 0 : status.stx_size,
        isDirectory ? 0 : static_cast<std::uint64_t>(status.stx_mtime.tv_sec),
        isDirectory ? 0 : status.stx_mtime.tv_nsec,
    };
    // The finalizer of the splitmix64 generator, one fact after another.
    std::uint64_t hash = 0;
    for (const auto fact : facts) {
        hash += 0x9E3779B97F4A7C15U + fact;
        hash = (hash ^ (hash >> 30U)) * 0xBF58476D1CE4E5B9U;
        hash = (hash ^ (hash >> 27U)) * 0x94D049BB133111EBU;
        hash ^= hash >> 31U;
    }
    return hash;
}

} // namespace platform::native
