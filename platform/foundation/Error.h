#pragma once

#include <string>

namespace qf {

/// A failure that the platform reports: its domain, its number there, and a sentence for the user,
/// such as: The file “a.txt” doesn’t exist.
struct Error {
    std::string domain;               ///< The origin of the number, such as "NSPOSIXErrorDomain".
    int code = 0;                     ///< The number in that domain.
    std::string localizedDescription; ///< The sentence for the user.
};

} // namespace qf
