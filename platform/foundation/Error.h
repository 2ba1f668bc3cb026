#pragma once

#include <string>

namespace platform {

/// What the platform reports: where the failure comes from, its number there, and a sentence in
/// the user's words, such as: The file “a.txt” doesn’t exist.
struct Error {
    std::string domain;               ///< Whose number it is, such as "NSPOSIXErrorDomain".
    int code = 0;                     ///< The number in that domain.
    std::string localizedDescription; ///< The sentence.
};

} // namespace platform
