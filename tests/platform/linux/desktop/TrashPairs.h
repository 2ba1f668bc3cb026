#pragma once

#include "tests/support/TemporaryDirectory.h"

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

/// Returns the names in a directory, sorted; empty for one that does not exist.
inline std::vector<std::string> namesIn(const std::string& directory) {
    std::vector<std::string> names;
    std::error_code missing;
    for (const auto& entry : std::filesystem::directory_iterator(directory, missing)) {
        names.push_back(entry.path().filename());
    }
    std::sort(names.begin(), names.end());
    return names;
}

/// Returns what is wrong with a trash directory: items without a trashinfo, trashinfos without an
/// item or without content, and what is neither.
inline std::vector<std::string> strayIn(const std::string& trash) {
    const std::string extension = ".trashinfo";
    std::vector<std::string> stray;
    for (const auto& name : namesIn(trash + "/files")) {
        if (!exists(trash + "/info/" + name + extension)) {
            stray.push_back("item " + name);
        }
    }
    for (const auto& name : namesIn(trash + "/info")) {
        const bool isTrashinfo = name.ends_with(extension);
        const auto item = isTrashinfo ? name.substr(0, name.size() - extension.size()) : name;
        if (!isTrashinfo || !exists(trash + "/files/" + item)) {
            stray.push_back("trashinfo " + name);
        } else if (!contentOf(trash + "/info/" + name).starts_with("[Trash Info]\nPath=")) {
            stray.push_back("content of " + name);
        }
    }
    return stray;
}
