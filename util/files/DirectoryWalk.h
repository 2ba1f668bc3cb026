#pragma once

#include "platform/FileSystem.h"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

/// What became of the wish to go into an entry.
enum class Descent {
    entered,
    /// It is a directory that the walk is in already, reached again through a link.
    alreadyInside,
    notADirectory
};

/// A walk through what lies below a directory, in the order of the listings; where the caller
/// descends into a directory, what is in there comes next. Links to directories are directories. A
/// directory that is missing, unreadable or none has no entries.
///
/// A directory is read once, when the walk comes to it, and its listing is kept until its end;
/// beside that a level of directories takes a few words, so that depth costs neither stack nor
/// descriptors.
class DirectoryWalk {
public:
    /// How a directory is read.
    using Listing = std::optional<std::vector<platform::DirectoryEntry>> (platform::FileSystem::*)(
        const std::string& path);

    explicit DirectoryWalk(const std::string& directory,
                           Listing listing = &platform::FileSystem::contentsOfDirectory);

    /// Goes to the next entry. False at the end of all.
    bool next();

    /// The entry that the walk has come to, and its path.
    const platform::DirectoryEntry& entry() const;
    const std::string& path() const { return path_; }

    /// Has the walk go through the entry next, if it is a directory.
    Descent descend();

private:
    /// A directory that the walk is in.
    struct Level {
        /// How much of the path is the directory's.
        std::size_t pathLength = 0;
        std::vector<platform::DirectoryEntry> entries;
        /// How many entries the walk has come to.
        std::size_t reached = 0;
        /// Asked for when a link is met.
        std::optional<platform::FileId> identity;
    };

    void enter();
    bool isDirectory() const;
    bool leadsBack();

    platform::FileSystem& fileSystem_;
    const Listing listing_;
    std::string path_;
    std::vector<Level> levels_;
};
