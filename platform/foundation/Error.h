#pragma once

#include <string>

namespace platform {

/// What the platform reports: where the failure comes from, its number there, and a sentence in
/// the user's words, such as: The file “a.txt” doesn’t exist.
struct Error {
    std::string domain;
    int code = 0;
    std::string localizedDescription;
};

} // namespace platform
