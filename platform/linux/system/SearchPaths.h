#pragma once

#include "platform/SearchPaths.h"
#include "platform/UserAccount.h"

namespace platform::native {

/// The standard directories in the shape that the suite's installers lay out: the user's under the
/// home directory, the machine's under "/", the operating system's library at "/System/Library".
class SearchPaths : public platform::SearchPaths {
public:
    /// `account` outlives the search paths.
    explicit SearchPaths(platform::UserAccount& account) : account_(account) {}

    std::vector<std::string> directories(DirectoryKind kind, DomainMask domain) override;

private:
    platform::UserAccount& account_;
};

/// The directory of a kind under a home directory, the superuser's included. The kind is one that
/// the user domain has.
std::string directoryInHome(const std::string& home, DirectoryKind kind);

} // namespace platform::native
