#pragma once

#include <string>

namespace platform::native {

/// What went wrong with which entry of a tree.
struct EntryFailure {
    int number = 0; ///< The errno.
    std::string name;
};

} // namespace platform::native
