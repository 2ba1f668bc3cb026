#pragma once

#include "platform/UserAccount.h"

#include <sys/types.h>

namespace platform::native {

/// The account by the environment where that is usable, else by the password database.
class UserAccount : public platform::UserAccount {
public:
    unsigned realUserId() override;

    /// HOME when it is an absolute path, else the account's own directory; "/nonexistent" for an
    /// account that the password database does not know.
    std::string homeDirectory() override;

    /// The name of the real user; the user id in digits for an unknown account.
    std::string loginName() override;

    /// TMPDIR when it is the absolute path of a directory, else "/tmp".
    std::string temporaryDirectory() override;

    /// XDG_CACHE_HOME when it is an absolute path, else ".cache" in the home directory.
    std::optional<std::string> cacheDirectory() override;
};

/// What the password database tells of an account.
struct AccountEntry {
    uid_t userId = 0;
    std::string name;
    std::string home;
};

/// The account of a user; nothing when the password database knows none.
std::optional<AccountEntry> accountOf(uid_t userId);
std::optional<AccountEntry> accountNamed(const std::string& name);

/// The value of an environment variable when it is an absolute path, without trailing slashes.
std::optional<std::string> absolutePathFromEnvironment(const char* variable);

} // namespace platform::native
