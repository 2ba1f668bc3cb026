#pragma once

#include <compare>
#include <cstdint>

namespace qf {

/// Tells an item from every other that exists at the time, whatever names lead to it.
struct FileId {
    std::uint64_t volume = 0; ///< The file system's number.
    std::uint64_t number = 0; ///< The item's number there.
    /// Orders by volume, then by number.
    auto operator<=>(const FileId&) const = default; // NOLINT: it takes the 0 for a pointer.
};

} // namespace qf
