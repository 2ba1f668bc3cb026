#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <vector>

namespace platform::native {

/// Fingerprints of the items that were copied, to tell later whether an item is one of them and
/// unchanged. Takes eight bytes per item.
class CopyFingerprints {
public:
    void add(const struct statx& status) { fingerprints_.push_back(fingerprint(status)); }

    /// Must be called after the last add() and before the first contains().
    void close();

    /// Returns whether the item was added with this kind, size and modification date. For a
    /// directory, which changes as it is emptied, only the identity counts.
    bool contains(const struct statx& status) const;

private:
    static std::uint64_t fingerprint(const struct statx& status);

    std::vector<std::uint64_t> fingerprints_;
};

} // namespace platform::native
