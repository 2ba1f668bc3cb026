#pragma once

#include "platform/SearchPaths.h"
#include "platform/UserAccount.h"

namespace qf::native {

/// The standard directories in the layout of the suite's installers: the user's under the home
/// directory, the machine's under "/", the operating system's library at "/System/Library".
class SearchPaths : public qf::SearchPaths {
public:
    /// `account` must outlive this.
    explicit SearchPaths(qf::UserAccount& account) : account_(account) {}

    std::vector<std::string> directories(DirectoryKind kind, DomainMask domain) override;

private:
    qf::UserAccount& account_;
};

/// Returns the directory of a kind under a home directory, including the superuser's. The user
/// domain must have the kind.
std::string directoryInHome(const std::string& home, DirectoryKind kind);

} // namespace qf::native
