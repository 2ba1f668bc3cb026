#include "platform/linux/system/SearchPaths.h"

#include "platform/foundation/Path.h"

#include <algorithm>
#include <array>

namespace platform::native {

namespace {

struct StandardFolder {
    DomainMask domain;
    DirectoryKind kind;
    const char* path; ///< Below the home folder in the user domain, else absolute.
};

constexpr std::array standardFolders{
    StandardFolder{DomainMask::user, DirectoryKind::application, "Applications"},
    StandardFolder{DomainMask::user, DirectoryKind::adminApplication, "Applications/Utilities"},
    StandardFolder{DomainMask::user, DirectoryKind::library, "Library"},
    StandardFolder{DomainMask::user, DirectoryKind::caches, "Library/Caches"},
    StandardFolder{DomainMask::user, DirectoryKind::applicationSupport,
                   "Library/Application Support"},
    StandardFolder{DomainMask::user, DirectoryKind::document, "Documents"},
    StandardFolder{DomainMask::user, DirectoryKind::desktop, "Desktop"},
    StandardFolder{DomainMask::user, DirectoryKind::movies, "Movies"},
    StandardFolder{DomainMask::local, DirectoryKind::application, "/Applications"},
    StandardFolder{DomainMask::local, DirectoryKind::adminApplication, "/Applications/Utilities"},
    StandardFolder{DomainMask::local, DirectoryKind::library, "/Library"},
    StandardFolder{DomainMask::local, DirectoryKind::caches, "/Library/Caches"},
    StandardFolder{DomainMask::local, DirectoryKind::applicationSupport,
                   "/Library/Application Support"},
    StandardFolder{DomainMask::local, DirectoryKind::documentation, "/Library/Documentation"},
    StandardFolder{DomainMask::system, DirectoryKind::library, "/System/Library"},
};

bool contains(DomainMask mask, DomainMask domain) {
    return (static_cast<unsigned>(mask) & static_cast<unsigned>(domain)) != 0;
}

/// Where callers expect the user domain of the superuser, whatever the home folder is.
constexpr const char* superuserHome = "/var/root";

std::string pathOf(const StandardFolder& folder, platform::UserAccount& account) {
    if (folder.domain != DomainMask::user) {
        return folder.path;
    }
    const bool superuser = account.realUserId() == 0;
    return path::appending(superuser ? superuserHome : account.homeDirectory(), folder.path);
}

} // namespace

std::vector<std::string> SearchPaths::folders(DirectoryKind kind, DomainMask domain) {
    std::vector<std::string> paths;
    for (const auto& folder : standardFolders) {
        if (folder.kind == kind && contains(domain, folder.domain)) {
            paths.push_back(pathOf(folder, account_));
        }
    }
    return paths;
}

std::string folderInHome(const std::string& home, DirectoryKind kind) {
    const auto* const folder =
        std::ranges::find_if(standardFolders, [kind](const StandardFolder& candidate) {
            return candidate.kind == kind && candidate.domain == DomainMask::user;
        });
    return path::appending(home, folder == standardFolders.end() ? "" : folder->path);
}

} // namespace platform::native
