#include "platform/linux/system/SearchPaths.h"

#include "platform/foundation/Path.h"

#include <algorithm>
#include <array>

namespace qf::native {

namespace {

struct StandardDirectory {
    DomainMask domain;
    DirectoryKind kind;
    const char* path; ///< Below the home directory in the user domain, else absolute.
};

constexpr std::array standardDirectories{
    StandardDirectory{DomainMask::user, DirectoryKind::application, "Applications"},
    StandardDirectory{DomainMask::user, DirectoryKind::adminApplication, "Applications/Utilities"},
    StandardDirectory{DomainMask::user, DirectoryKind::library, "Library"},
    StandardDirectory{DomainMask::user, DirectoryKind::caches, "Library/Caches"},
    StandardDirectory{DomainMask::user, DirectoryKind::applicationSupport,
                      "Library/Application Support"},
    StandardDirectory{DomainMask::user, DirectoryKind::document, "Documents"},
    StandardDirectory{DomainMask::user, DirectoryKind::desktop, "Desktop"},
    StandardDirectory{DomainMask::user, DirectoryKind::movies, "Movies"},
    StandardDirectory{DomainMask::local, DirectoryKind::application, "/Applications"},
    StandardDirectory{DomainMask::local, DirectoryKind::adminApplication,
                      "/Applications/Utilities"},
    StandardDirectory{DomainMask::local, DirectoryKind::library, "/Library"},
    StandardDirectory{DomainMask::local, DirectoryKind::caches, "/Library/Caches"},
    StandardDirectory{DomainMask::local, DirectoryKind::applicationSupport,
                      "/Library/Application Support"},
    StandardDirectory{DomainMask::local, DirectoryKind::documentation, "/Library/Documentation"},
    StandardDirectory{DomainMask::system, DirectoryKind::library, "/System/Library"},
};

bool contains(DomainMask mask, DomainMask domain) {
    return (static_cast<unsigned>(mask) & static_cast<unsigned>(domain)) != 0;
}

/// The home directory of the superuser's user domain, as callers expect it, whatever HOME is.
constexpr const char* superuserHome = "/var/root";

std::string pathOf(const StandardDirectory& directory, qf::UserAccount& account) {
    if (directory.domain != DomainMask::user) {
        return directory.path;
    }
    const bool superuser = account.realUserId() == 0;
    return path::appending(superuser ? superuserHome : account.homeDirectory(), directory.path);
}

} // namespace

std::vector<std::string> SearchPaths::directories(DirectoryKind kind, DomainMask domain) {
    std::vector<std::string> paths;
    for (const auto& directory : standardDirectories) {
        if (directory.kind == kind && contains(domain, directory.domain)) {
            paths.push_back(pathOf(directory, account_));
        }
    }
    return paths;
}

std::string directoryInHome(const std::string& home, DirectoryKind kind) {
    const auto* const directory =
        std::ranges::find_if(standardDirectories, [kind](const StandardDirectory& candidate) {
            return candidate.kind == kind && candidate.domain == DomainMask::user;
        });
    return path::appending(home, directory == standardDirectories.end() ? "" : directory->path);
}

} // namespace qf::native
