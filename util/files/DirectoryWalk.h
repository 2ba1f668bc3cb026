#pragma once

#include "platform/FileSystem.h"

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace qf {

/// The result of an attempt to descend into an entry.
enum class Descent {
    entered,
    /// The walk is already in this directory and has reached it again through a link.
    alreadyInside,
    notADirectory
};

/// A walk through the items below a directory, in the order of the listings; when the caller
/// descends into a directory, its entries come next. Links to directories count as directories. A
/// path that is missing, unreadable or not a directory has no entries.
///
/// A directory is read once, when the walk enters it, and its listing is kept until the walk leaves
/// it. Apart from the listings a level takes a few words, so depth costs neither stack nor
/// descriptors.
class DirectoryWalk {
public:
    /// How a directory is read.
    using Listing =
        std::optional<std::vector<DirectoryEntry>> (FileSystem::*)(const std::string& path);

    explicit DirectoryWalk(const std::string& directory,
                           Listing listing = &FileSystem::contentsOfDirectory);

    /// Goes to the next entry. Returns false at the end of the walk.
    bool next();

    /// Return the entry that the walk has reached, and its path.
    const DirectoryEntry& entry() const;
    const std::string& path() const { return path_; }

    /// Returns the paths of the entry that the walk has reached and of those after it in the same
    /// directory for which `matches` is true, at most `most` of them.
    std::vector<std::string>
    pathsFromHere(std::size_t most,
                  const std::function<bool(const DirectoryEntry&)>& matches) const;

    /// Makes the walk continue inside the current entry, if it is a directory.
    Descent descend();

private:
    /// A directory that the walk is in.
    struct Level {
        /// The length of the directory's part of the path.
        std::size_t pathLength = 0;
        std::vector<DirectoryEntry> entries;
        /// How many entries the walk has reached.
        std::size_t reached = 0;
        /// Looked up when the walk reaches a link.
        std::optional<FileId> identity;
    };

    void enter();
    bool isDirectory() const;
    bool leadsBack();

    FileSystem& fileSystem_;
    const Listing listing_;
    std::string path_;
    std::vector<Level> levels_;
};

} // namespace qf
