#pragma once

#include <optional>
#include <string>
#include <vector>

namespace qf {

/// A person who may grant the administrator's right.
struct Administrator {
    unsigned userId = 0;   ///< The system's number.
    std::string loginName; ///< The name that the person knows.
};

/// A password, and whose it is.
struct GivenPassword {
    Administrator administrator; ///< Whose it is.
    std::string password;        ///< In UTF-8.
};

/// Asks the user for an administrator's password if no desktop does. Without this port the desktop
/// asks.
class PasswordQuestion {
public:
    static constexpr const char* portName = "PasswordQuestion";
    virtual ~PasswordQuestion() = default;

    /// Returns the answer, or nullopt if the user gives none. Blocks until the user has answered.
    /// `attempt` counts from 1 and goes up when a password was wrong; `administrators` is not
    /// empty. Any thread except the main thread.
    virtual std::optional<GivenPassword> ask(const std::vector<Administrator>& administrators,
                                             int attempt) = 0;
};

} // namespace qf
