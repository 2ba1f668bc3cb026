#pragma once

#include <optional>
#include <string>

namespace qf {

/// The account that the process runs as, and its directories. Any thread may call every member.
class UserAccount {
public:
    static constexpr const char* portName = "UserAccount";
    virtual ~UserAccount() = default;

    /// Returns the real user identifier; 0 is the superuser.
    virtual unsigned realUserId() = 0;

    /// Returns the home directory: an absolute path without a trailing slash.
    virtual std::string homeDirectory() = 0;

    /// Returns the login name of the account that owns the home directory, or nullopt if that is
    /// the process's own or the directory does not exist.
    virtual std::optional<std::string> otherOwnerOfHome() = 0;

    /// Returns the login name.
    virtual std::string loginName() = 0;

    /// Returns the directory for the process's temporary files: an absolute path without a trailing
    /// slash.
    virtual std::string temporaryDirectory() = 0;

    /// Returns the user's directory for caches that the system may empty, or nullopt if there is
    /// none.
    virtual std::optional<std::string> cacheDirectory() = 0;

    /// Returns the directory in which programs keep from run to run what is no setting, such as
    /// records of what they did; the machine's for the superuser. An absolute path without a
    /// trailing slash.
    virtual std::string stateDirectory() = 0;
};

} // namespace qf
