#pragma once

#include <cstdint>

namespace platform {

/// Which of all the items that exist at the time it is, whatever names lead to it.
struct FileId {
    std::uint64_t volume = 0; ///< The file system's number.
    std::uint64_t number = 0; ///< The item's number there.
    bool operator==(const FileId&) const = default;
};

} // namespace platform
