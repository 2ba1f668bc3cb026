#pragma once

#include "platform/UserAccount.h"

#include <sys/types.h>

#include <vector>

namespace qf::native {

/// The account from the environment if that is usable, else from the password database.
class UserAccount : public qf::UserAccount {
public:
    unsigned realUserId() override;

    /// Returns HOME if it is an absolute path, else the account's own directory; "/nonexistent" for
    /// an account that is not in the password database.
    std::string homeDirectory() override;

    /// Returns the name of the real user; the user id in digits for an unknown account.
    std::optional<std::string> otherOwnerOfHome() override;
    std::string loginName() override;

    /// Returns TMPDIR if it is the absolute path of a directory, else "/tmp".
    std::string temporaryDirectory() override;

    /// Returns XDG_CACHE_HOME if it is an absolute path, else ".cache" in the home directory.
    std::optional<std::string> cacheDirectory() override;

    /// Returns XDG_STATE_HOME if it is an absolute path, else ".local/state" in the home directory;
    /// "/var/lib" for the superuser.
    std::string stateDirectory() override;
};

/// An account's entry in the password database.
struct AccountEntry {
    uid_t userId = 0;
    gid_t groupId = 0;
    std::string name;
    std::string home;
};

/// Returns the account of a user; nullopt if it is not in the password database.
std::optional<AccountEntry> accountOf(uid_t userId);
std::optional<AccountEntry> accountNamed(const std::string& name);

/// Returns all accounts that the password database lists. One thread at a time.
std::vector<AccountEntry> allAccounts();

/// Returns the login name of a user; the user id in digits for an unknown account.
std::string loginNameOf(uid_t userId);

/// Returns the value of an environment variable, without trailing slashes, if it is an absolute
/// path.
std::optional<std::string> absolutePathFromEnvironment(const char* variable);

/// Returns where this user's service manager has its sockets: XDG_RUNTIME_DIR if it is an absolute
/// path, else the usual directory. It need not exist.
std::string serviceManagerDirectory();

} // namespace qf::native
