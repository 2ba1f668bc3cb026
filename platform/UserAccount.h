#pragma once

#include <optional>
#include <string>

namespace platform {

/// The account that the process runs as, and the directories that the system gives it.
/// Any thread may call every member.
class UserAccount {
public:
    static constexpr const char* portName = "UserAccount";
    virtual ~UserAccount() = default;

    /// The real user identifier; 0 is the superuser.
    virtual unsigned realUserId() = 0;

    /// The home directory: an absolute path without a trailing slash.
    virtual std::string homeDirectory() = 0;

    /// The login name.
    virtual std::string loginName() = 0;

    /// The directory for the process's temporary files: an absolute path without a trailing slash.
    virtual std::string temporaryDirectory() = 0;

    /// The user's directory for caches that the system may empty, or nothing where there is none.
    virtual std::optional<std::string> cacheDirectory() = 0;
};

} // namespace platform
