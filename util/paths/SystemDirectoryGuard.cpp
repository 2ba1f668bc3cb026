#include "util/paths/QFLocalPaths.h"

#include "platform/foundation/Path.h"
#include "platform/foundation/Text.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace {

constexpr std::array<std::string_view, 6> protectedDirectories{"/Users/Shared", "/usr",  "/var",
                                                               "/bin",          "/sbin", "/System"};

constexpr std::array<std::string_view, 6> protectedTrees{"/usr/",  "/var/",         "/bin/",
                                                         "/sbin/", "/private/var/", "/System/"};
constexpr std::string_view unprotectedTree = "/usr/local/";

constexpr std::string_view volumesPrefix = "/Volumes/";
constexpr std::string_view backupStore = "Backups.backupdb";

bool isStandardDirectory(const std::string& path) {
    using Paths = QFLocalPaths;
    const std::array standardDirectories{
        Paths::applicationDirectory(qf::Domain::user),
        Paths::applicationDirectory(qf::Domain::local),
        Paths::adminApplicationDirectory(qf::Domain::user),
        Paths::adminApplicationDirectory(qf::Domain::local),
        Paths::documentDirectory(qf::Domain::user),
        Paths::documentDirectory(qf::Domain::local),
        Paths::libraryDirectory(qf::Domain::user),
        Paths::libraryDirectory(qf::Domain::local),
        Paths::prefsDirectory(qf::Domain::user),
        Paths::prefsDirectory(qf::Domain::local),
        Paths::cacheDirectory(qf::Domain::user),
        Paths::cacheDirectory(qf::Domain::local),
        Paths::appSupportDirectory(qf::Domain::user),
        Paths::appSupportDirectory(qf::Domain::local),
        Paths::desktopDirectory(),
        std::optional(Paths::userDirectory()),
        Paths::systemLibraryDirectory(),
        Paths::localDocumentationDirectory(),
    };
    return std::ranges::find(standardDirectories, path) != standardDirectories.end();
}

bool isInProtectedTree(std::string_view path) {
    return !path.starts_with(unprotectedTree) &&
           std::ranges::any_of(protectedTrees,
                               [path](std::string_view tree) { return path.starts_with(tree); });
}

// Returns the path without its last two UTF-16 units: its trailing slash and the unit before it. If
// that unit is half of a character, part of the character's bytes remains, and matches nothing.
std::string withoutLastTwoCharacters(std::string path, std::size_t length) {
    while (qf::text::utf16Length(path) > length - 2) {
        path.pop_back();
    }
    return path;
}

} // namespace

bool QFLocalPaths::isPathSystemDirectory(const std::optional<std::string>& path,
                                         qf::ExactMatch exactMatch) {
    if (path == "/") {
        return true;
    }
    const std::size_t length = path ? qf::text::utf16Length(*path) : 0;
    if (length < 3) {
        return false;
    }
    const std::string compared =
        path->ends_with('/') ? withoutLastTwoCharacters(*path, length) : *path;
    if (isStandardDirectory(compared) ||
        std::ranges::find(protectedDirectories, compared) != protectedDirectories.end()) {
        return true;
    }
    return exactMatch == qf::ExactMatch::no && isInProtectedTree(compared);
}

bool QFLocalPaths::isPathSystemDirectory(const std::optional<std::string>& path) {
    return isPathSystemDirectory(path, qf::ExactMatch::no);
}

bool QFLocalPaths::isPathOnTimeMachineVolume(const std::optional<std::string>& path) {
    if (!path || !path->starts_with(volumesPrefix)) {
        return false;
    }
    const auto components = qf::path::components(*path);
    return std::ranges::find(components, backupStore) != components.end();
}
