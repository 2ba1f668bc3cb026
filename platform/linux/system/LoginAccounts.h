#pragma once

#include "platform/LoginAccounts.h"
#include "platform/linux/system/UserAccount.h"

#include <string>
#include <vector>

namespace platform::native {

/// The accounts of the password database. The system's setpriv changes to one.
class LoginAccounts : public platform::LoginAccounts {
public:
    std::vector<LoginAccount> all() override;
    ProcessDescription programAs(const LoginAccount& account, const std::string& program,
                                 std::vector<std::string> arguments) override;
};

/// Returns the smallest number of an account of a person: UID_MIN in a file like /etc/login.defs,
/// else 1000.
uid_t leastUserId(const std::string& definitions);

/// Returns those of the entries that all() describes, with accounts of people from `least` on.
std::vector<LoginAccount> loginAccounts(std::vector<AccountEntry> entries, uid_t least);

} // namespace platform::native
