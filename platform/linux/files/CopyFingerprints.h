#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <string_view>
#include <vector>

namespace qf::native {

/// The place of an item in a tree: a hash of the names on the way from the top.
enum class TreePlace : std::uint64_t { top = 0 };

/// Returns the place of the entry `name` of the directory at a place.
TreePlace placeBelow(TreePlace directory, std::string_view name);

/// Fingerprints of the items that were copied, to tell later whether an item is one of them and
/// unchanged. Takes sixteen bytes per item.
class CopyFingerprints {
public:
    void add(const struct statx& status, TreePlace place);

    /// Must be called after the last add() and before the functions below.
    void close();

    /// Returns whether the item was added with this identity, kind, size and modification date. For
    /// a directory, which changes as it is emptied, only identity and kind count.
    bool contains(const struct statx& status) const;

    /// Like contains(), with the place instead of the identity, because some volumes give an item
    /// another number each time that it is looked up anew.
    bool containsAtPlace(const struct statx& status, TreePlace place) const;

private:
    std::vector<std::uint64_t> items_;
    std::vector<std::uint64_t> places_;
};

} // namespace qf::native
