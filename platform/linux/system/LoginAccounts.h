#pragma once

#include "platform/LoginAccounts.h"
#include "platform/linux/system/UserAccount.h"

#include <string>
#include <vector>

namespace qf::native {

/// The accounts of the password database. The system's setpriv changes to one.
class LoginAccounts : public qf::LoginAccounts {
public:
    std::vector<LoginAccount> all() override;
    ProcessDescription programAs(const LoginAccount& account, const std::string& program,
                                 std::vector<std::string> arguments) override;
};

/// The numbers that this machine gives to accounts of people.
struct UserIdRange {
    uid_t least = 1000;
    uid_t most = 60000;

    bool operator==(const UserIdRange&) const = default;
};

/// Returns the range from UID_MIN to UID_MAX in a file like /etc/login.defs, whose last line of a
/// name counts; where they are missing, the usual numbers.
UserIdRange userIdRange(const std::string& definitions);

/// Returns those of the entries that all() describes. Numbers above the range are those of people
/// from a directory service, if the home directory is their own, and of services otherwise.
std::vector<LoginAccount> loginAccounts(std::vector<AccountEntry> entries,
                                        const UserIdRange& people);

} // namespace qf::native
