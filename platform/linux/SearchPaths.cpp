#include "platform/linux/SearchPaths.h"

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

const StandardFolder* standardFolder(DirectoryKind kind, DomainMask domain) {
    const auto* const found =
        std::find_if(standardFolders.begin(), standardFolders.end(), [&](const auto& folder) {
            return folder.kind == kind && folder.domain == domain;
        });
    return found == standardFolders.end() ? nullptr : found;
}

/// Where callers expect the user domain of the superuser, whatever the home folder is.
constexpr const char* superuserHome = "/var/root";

} // namespace

std::vector<std::string> SearchPaths::folders(DirectoryKind kind, DomainMask domain) {
    const auto* folder = standardFolder(kind, domain);
    if (folder == nullptr) {
        return {};
    }
    if (domain != DomainMask::user) {
        return {folder->path};
    }
    const bool superuser = account_.realUserId() == 0;
    return {path::appending(superuser ? superuserHome : account_.homeDirectory(), folder->path)};
}

std::string folderInHome(const std::string& home, DirectoryKind kind) {
    const auto* folder = standardFolder(kind, DomainMask::user);
    return path::appending(home, folder == nullptr ? "" : folder->path);
}

} // namespace platform::native
