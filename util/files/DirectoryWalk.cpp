#include "util/files/DirectoryWalk.h"

#include "platform/Services.h"
#include "platform/foundation/Path.h"

#include <algorithm>
#include <utility>

namespace qf {

DirectoryWalk::DirectoryWalk(const std::string& directory, Listing listing)
    : fileSystem_(service<FileSystem>()), listing_(listing), path_(path::appending(directory, "")) {
    enter();
}

bool DirectoryWalk::next() {
    while (!levels_.empty()) {
        auto& level = levels_.back();
        path_.resize(level.pathLength);
        if (level.reached < level.entries.size()) {
            if (!path_.ends_with('/')) {
                path_ += '/';
            }
            path_ += level.entries[level.reached].name;
            ++level.reached;
            return true;
        }
        levels_.pop_back();
    }
    return false;
}

const DirectoryEntry& DirectoryWalk::entry() const {
    const auto& level = levels_.back();
    return level.entries[level.reached - 1];
}

std::vector<std::string>
DirectoryWalk::pathsFromHere(std::size_t most,
                             const std::function<bool(const DirectoryEntry&)>& matches) const {
    const auto& level = levels_.back();
    const auto directory = path_.substr(0, path_.size() - entry().name.size());
    std::vector<std::string> paths;
    for (auto i = level.reached - 1; i < level.entries.size() && paths.size() < most; ++i) {
        if (i == level.reached - 1 || matches(level.entries[i])) {
            paths.push_back(directory + level.entries[i].name);
        }
    }
    return paths;
}

Descent DirectoryWalk::descend() {
    if (!isDirectory()) {
        return Descent::notADirectory;
    }
    if (entry().kind == ItemKind::link && leadsBack()) {
        return Descent::alreadyInside;
    }
    enter();
    return Descent::entered;
}

void DirectoryWalk::enter() {
    auto entries = (fileSystem_.*listing_)(path_);
    levels_.push_back({.pathLength = path_.size(),
                       .entries = std::move(entries).value_or(std::vector<DirectoryEntry>())});
}

/// The listing has each entry's kind, except for the target of a link.
bool DirectoryWalk::isDirectory() const {
    const auto kind = entry().kind;
    return kind == ItemKind::directory ||
           (kind == ItemKind::link && fileSystem_.isDirectory(path_));
}

/// Returns whether the link that the walk has reached leads to one of the directories that it is
/// in.
bool DirectoryWalk::leadsBack() {
    const auto target = fileSystem_.fileIdOfItem(path_);
    return std::any_of(levels_.begin(), levels_.end(), [&](Level& level) {
        if (!level.identity) {
            level.identity = fileSystem_.fileIdOfItem(path_.substr(0, level.pathLength));
        }
        return target && level.identity == target;
    });
}

} // namespace qf
