#include "platform/linux/files/CopyFingerprints.h"

#include <algorithm>
#include <initializer_list>

namespace qf::native {

namespace {

/// Returns the hash of some facts: the finalizer of the splitmix64 generator, one after another.
std::uint64_t hashOf(std::initializer_list<std::uint64_t> facts) {
    std::uint64_t hash = 0;
    for (const auto fact : facts) {
        hash += 0x9E3779B97F4A7C15U + fact;
        hash = (hash ^ (hash >> 30U)) * 0xBF58476D1CE4E5B9U;
        hash = (hash ^ (hash >> 27U)) * 0x94D049BB133111EBU;
        hash ^= hash >> 31U;
    }
    return hash;
}

/// Returns the hash of an item's kind, and of all that shows whether it has changed.
std::uint64_t stateOf(const struct statx& status) {
    const std::uint64_t kind = status.stx_mode & static_cast<unsigned>(S_IFMT);
    if (S_ISDIR(status.stx_mode)) {
        return hashOf({kind});
    }
    return hashOf({kind, status.stx_size, static_cast<std::uint64_t>(status.stx_mtime.tv_sec),
                   status.stx_mtime.tv_nsec});
}

std::uint64_t itemFingerprint(const struct statx& status) {
    return hashOf({status.stx_dev_major, status.stx_dev_minor, status.stx_ino, stateOf(status)});
}

std::uint64_t placeFingerprint(const struct statx& status, TreePlace place) {
    return hashOf({static_cast<std::uint64_t>(place), stateOf(status)});
}

} // namespace

TreePlace placeBelow(TreePlace directory, std::string_view name) {
    auto hash = static_cast<std::uint64_t>(directory) ^ 0xCBF29CE484222325U;
    for (const char c : name) { // FNV-1a
        hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3U;
    }
    return TreePlace{hashOf({static_cast<std::uint64_t>(directory), hash})};
}

void CopyFingerprints::add(const struct statx& status, TreePlace place) {
    items_.push_back(itemFingerprint(status));
    places_.push_back(placeFingerprint(status, place));
}

void CopyFingerprints::close() {
    std::ranges::sort(items_);
    std::ranges::sort(places_);
}

bool CopyFingerprints::contains(const struct statx& status) const {
    return std::ranges::binary_search(items_, itemFingerprint(status));
}

bool CopyFingerprints::containsAtPlace(const struct statx& status, TreePlace place) const {
    return std::ranges::binary_search(places_, placeFingerprint(status, place));
}

} // namespace qf::native
