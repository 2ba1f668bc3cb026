#pragma once

#include <optional>
#include <string>
#include <vector>

namespace platform {

/// A person who may give the administrator's right.
struct Administrator {
    unsigned userId = 0;   ///< The system's number.
    std::string loginName; ///< The name that the person knows.
};

/// Whose password it is, and the password.
struct GivenPassword {
    Administrator administrator; ///< Whose it is.
    std::string password;        ///< In UTF-8.
};

/// Asks the person in front of the program for an administrator's password where no desktop does.
/// Without this port the desktop asks.
class PasswordQuestion {
public:
    static constexpr const char* portName = "PasswordQuestion";
    virtual ~PasswordQuestion() = default;

    /// The answer, or nothing when there is none. It takes as long as the person does. `attempt`
    /// counts from 1 and goes up when a password was wrong; `administrators` is not empty. Any
    /// thread but the main thread.
    virtual std::optional<GivenPassword> ask(const std::vector<Administrator>& administrators,
                                             int attempt) = 0;
};

} // namespace platform
