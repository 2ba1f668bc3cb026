#pragma once

#include "platform/ProcessLauncher.h"

#include <string>
#include <vector>

namespace qf {

/// An account whose owner may log in and keep files.
struct LoginAccount {
    /// Its numbers and its login name.
    unsigned userId = 0;
    unsigned groupId = 0;
    std::string name;
    /// The home directory, which exists.
    std::string home;
    /// Why nothing may be done there, in the user's words; empty if the directory is the account's
    /// own.
    std::string whyNot;
};

/// The accounts of this machine, and programs that run as one of them.
class LoginAccounts {
public:
    static constexpr const char* portName = "LoginAccounts";
    virtual ~LoginAccounts() = default;

    /// Returns the superuser, then the accounts of people by their numbers, each home directory
    /// once; people without a home directory are left out. Throws qf::Exception if not all
    /// accounts can be listed. One thread at a time.
    virtual std::vector<LoginAccount> all() = 0;

    /// Returns how to launch a program so that it has the account's rights and groups and no
    /// others. It reads nothing from this process: of its environment it gets the language only, of
    /// its terminal nothing, and its input is empty. Only the superuser's processes can launch it.
    /// To be called by the thread that then launches it, which loses the keys of its session for
    /// that. Throws qf::Exception if it cannot.
    virtual ProcessDescription programAs(const LoginAccount& account, const std::string& program,
                                         std::vector<std::string> arguments) = 0;
};

} // namespace qf
