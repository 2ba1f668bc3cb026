#pragma once

#include "platform/UserAccount.h"

namespace platform::native {

/// The account by the environment where that is usable, else by the password database.
class UserAccount : public platform::UserAccount {
public:
    unsigned realUserId() override;

    /// HOME when it is an absolute path, else the account's own folder; "/nonexistent" for an
    /// account that the password database does not know.
    std::string homeDirectory() override;

    /// The name of the real user; the user id in digits for an unknown account.
    std::string loginName() override;

    /// TMPDIR when it is the absolute path of a folder, else "/tmp".
    std::string temporaryDirectory() override;

    /// XDG_CACHE_HOME when it is an absolute path, else ".cache" in the home folder.
    std::optional<std::string> cacheDirectory() override;
};

/// The value of an environment variable when it is an absolute path, without trailing slashes.
std::optional<std::string> absolutePathFromEnvironment(const char* variable);

} // namespace platform::native
