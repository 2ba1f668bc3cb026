#include "util/files/QFFileManager.h"

#include "platform/FileSystem.h"
#include "platform/Services.h"
#include "platform/foundation/Path.h"
#include "platform/foundation/Text.h"

#include <string_view>
#include <utility>

namespace path = platform::path;
namespace text = platform::text;

using platform::ItemKind;

namespace {

constexpr char anyRun = '*';
constexpr char anyCharacter = '?';

/// An item that the components of the pattern so far have led to.
struct Place {
    std::string path;
    /// Whether anything can be below it.
    bool canBeFolder = true;
};

using Places = std::vector<Place>;

bool isWildcard(std::string_view component) {
    return component.find(anyRun) != std::string_view::npos;
}

/// Whether the whole of a name is like a pattern. After a mismatch the last run takes one more
/// character; runs before it need never be looked at again.
bool isLike(std::string_view name, std::string_view pattern) {
    std::string_view nameAfterRun;
    std::string_view patternAfterRun;
    bool hasRun = false;
    while (!name.empty() || !pattern.empty()) {
        if (pattern.starts_with(anyRun)) {
            pattern.remove_prefix(1);
            hasRun = true;
            nameAfterRun = name;
            patternAfterRun = pattern;
        } else if (!name.empty() && pattern.starts_with(anyCharacter)) {
            name.remove_prefix(text::firstCharacter(name).length);
            pattern.remove_prefix(1);
        } else if (!name.empty() && !pattern.empty() && name.front() == pattern.front()) {
            name.remove_prefix(1);
            pattern.remove_prefix(1);
        } else if (hasRun && !nameAfterRun.empty()) {
            nameAfterRun.remove_prefix(text::firstCharacter(nameAfterRun).length);
            name = nameAfterRun;
            pattern = patternAfterRun;
        } else {
            return false;
        }
    }
    return true;
}

/// Appends the entries of a folder that are like a component; of links, those that lead somewhere.
void appendEntriesLike(const std::string& component, const std::string& folder, Places& places) {
    auto& fileSystem = platform::service<platform::FileSystem>();
    const auto entries = fileSystem.contentsOfDirectory(folder);
    if (!entries) {
        return;
    }
    for (const auto& entry : *entries) {
        if (!isLike(entry.name, component)) {
            continue;
        }
        auto item = path::appending(folder, entry.name);
        const bool isLink = entry.kind == ItemKind::link;
        if (!isLink || fileSystem.exists(item)) {
            places.push_back(
                {.path = std::move(item), .canBeFolder = isLink || entry.kind == ItemKind::folder});
        }
    }
}

/// Where one component leads to from each of the places, in their order.
Places placesBelow(const Places& places, const std::string& component) {
    Places below;
    for (const auto& place : places) {
        if (!place.canBeFolder) {
            continue;
        }
        if (isWildcard(component)) {
            appendEntriesLike(component, place.path, below);
        } else if (auto item = path::appending(place.path, component);
                   QFFileManager::fileExistsAtPath(item)) {
            below.push_back({.path = std::move(item)});
        }
    }
    return below;
}

std::vector<std::string> paths(Places places) {
    std::vector<std::string> result;
    result.reserve(places.size());
    for (auto& place : places) {
        result.push_back(std::move(place.path));
    }
    return result;
}

/// The pattern as a path below the base folder, where there is one.
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
    return filesMatchingWildcardPath(path, fromBasePath, SearchSubdirs::no);
}

std::vector<std::string>
QFFileManager::filesMatchingWildcardPath(const std::string& path,
                                         const std::optional<std::string>& fromBasePath,
                                         SearchSubdirs /*searchSubdirs*/) {
    if (!isWildcard(path)) {
        return {fullPath(path, fromBasePath)};
    }
    const Places start{Place{.path = fromBasePath.value_or("/")}};
    Places places = start;
    for (const auto& component : path::components(path)) {
        places = component == "/" ? start : placesBelow(places, component);
    }
    return paths(std::move(places));
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
