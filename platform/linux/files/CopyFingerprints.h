#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <vector>

namespace platform::native {

/// What a copy was made of: tells later whether an item is one of those copied and has not changed
/// since. Takes eight bytes an item.
class CopyFingerprints {
public:
    void add(const struct statx& status) { fingerprints_.push_back(fingerprint(status)); }

    /// To be called after the last add() and before the first contains().
    void close();

    /// Whether the item was added with this kind, size and date of the last change. Of a directory,
    /// which changes as it is emptied, the identity alone counts.
    bool contains(const struct statx& status) const;

private:
    static std::uint64_t fingerprint(const struct statx& status);

    std::vector<std::uint64_t> fingerprints_;
};

} // namespace platform::native
