#pragma once

#include "platform/SearchPaths.h"
#include "platform/UserAccount.h"

namespace platform::native {

/// The standard folders in the shape that the suite's installers lay out: the user's under the home
/// folder, the machine's under "/", the operating system's library at "/System/Library".
class SearchPaths : public platform::SearchPaths {
public:
    /// `account` outlives the search paths.
    explicit SearchPaths(platform::UserAccount& account) : account_(account) {}

    std::vector<std::string> folders(DirectoryKind kind, DomainMask domain) override;

private:
    platform::UserAccount& account_;
};

/// The folder of a kind under a home folder, the superuser's included. The kind is one that the
/// user domain has.
std::string folderInHome(const std::string& home, DirectoryKind kind);

} // namespace platform::native
