#include "util/files/QFFileManager.h"

#include "platform/FileSystem.h"
#include "platform/Services.h"
#include "platform/foundation/Path.h"
#include "platform/foundation/Text.h"

#include <algorithm>
#include <cstddef>
#include <string_view>
#include <utility>

namespace path = qf::path;
namespace text = qf::text;

using qf::ItemKind;

namespace {

constexpr char anyRun = '*';
constexpr char anyCharacter = '?';

/// The items that match the components of the pattern so far.
struct Places {
    std::vector<std::string> paths;
    /// For each path, whether anything can be below it.
    std::vector<bool> canBeDirectory;

    void add(std::string path, bool mayBeDirectory) {
        paths.push_back(std::move(path));
        canBeDirectory.push_back(mayBeDirectory);
    }
};

bool isWildcard(std::string_view component) {
    return component.find(anyRun) != std::string_view::npos;
}

/// Returns `name` without its first character and everything up to where a match of `pattern` could
/// begin.
std::string_view afterMismatch(std::string_view name, std::string_view pattern) {
    name.remove_prefix(text::firstCharacter(name).length);
    return pattern.starts_with(anyCharacter)
               ? name
               : name.substr(std::min(name.find(pattern.front()), name.size()));
}

/// Returns whether a whole name matches a pattern. After a mismatch the last "*" takes one
/// character more; the ones before it never need to be reconsidered.
bool isLike(std::string_view name, std::string_view pattern) {
    std::string_view nameAfterRun;
    std::string_view patternAfterRun;
    while (!name.empty() || !pattern.empty()) {
        if (pattern.starts_with(anyRun)) {
            pattern.remove_prefix(1);
            if (pattern.empty()) {
                return true;
            }
            nameAfterRun = name;
            patternAfterRun = pattern;
        } else if (!name.empty() && pattern.starts_with(anyCharacter)) {
            name.remove_prefix(text::firstCharacter(name).length);
            pattern.remove_prefix(1);
        } else if (!name.empty() && !pattern.empty() && name.front() == pattern.front()) {
            name.remove_prefix(1);
            pattern.remove_prefix(1);
        } else if (!nameAfterRun.empty()) {
            nameAfterRun = afterMismatch(nameAfterRun, patternAfterRun);
            name = nameAfterRun;
            pattern = patternAfterRun;
        } else {
            return false;
        }
    }
    return true;
}

/// Adds the entries of a directory that match a component, except dangling links.
void addEntriesLike(const std::string& component, const std::string& directory, Places& places) {
    auto& fileSystem = qf::service<qf::FileSystem>();
    const auto entries = fileSystem.contentsOfDirectory(directory);
    if (!entries) {
        return;
    }
    for (const auto& entry : *entries) {
        if (!isLike(entry.name, component)) {
            continue;
        }
        auto item = path::appending(directory, entry.name);
        const bool isLink = entry.kind == ItemKind::link;
        if (!isLink || fileSystem.exists(item)) {
            places.add(std::move(item), isLink || entry.kind == ItemKind::directory);
        }
    }
}

/// Returns the matches of one component in each of the places, in order.
Places placesBelow(const Places& places, const std::string& component) {
    Places below;
    for (std::size_t index = 0; index < places.paths.size(); ++index) {
        if (!places.canBeDirectory[index]) {
            continue;
        }
        const auto& directory = places.paths[index];
        if (isWildcard(component)) {
            addEntriesLike(component, directory, below);
        } else if (auto item = path::appending(directory, component);
                   QFFileManager::fileExistsAtPath(item)) {
            below.add(std::move(item), true);
        }
    }
    return below;
}

/// Returns the pattern as a path below the base directory, if there is one.
std::string fullPath(const std::string& pattern, const std::optional<std::string>& basePath) {
    return basePath ? path::appending(*basePath, pattern) : pattern;
}

} // namespace

std::vector<std::string> QFFileManager::filesMatchingWildcardPath(const std::string& path) {
    return filesMatchingWildcardPath(path, std::nullopt);
}

std::vector<std::string>
QFFileManager::filesMatchingWildcardPath(const std::string& path,
                                         const std::optional<std::string>& fromBasePath) {
    return filesMatchingWildcardPath(path, fromBasePath, qf::SearchSubdirs::no);
}

std::vector<std::string>
QFFileManager::filesMatchingWildcardPath(const std::string& path,
                                         const std::optional<std::string>& fromBasePath,
                                         qf::SearchSubdirs /*searchSubdirs*/) {
    if (!isWildcard(path)) {
        return {fullPath(path, fromBasePath)};
    }
    Places start;
    start.add(fromBasePath.value_or("/"), true);
    Places places = start;
    for (const auto& component : path::components(path)) {
        places = component == "/" ? start : placesBelow(places, component);
    }
    return std::move(places.paths);
}

std::optional<std::string>
QFFileManager::decodeWildcardPath(const std::string& path,
                                  const std::optional<std::string>& fromBasePath) {
    const auto found = filesMatchingWildcardPath(path, fromBasePath);
    if (!found.empty()) {
        return found.front();
    }
    return fromBasePath ? std::optional(fullPath(path, fromBasePath)) : std::nullopt;
}
