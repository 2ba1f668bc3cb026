#pragma once

#include "platform/FileSystem.h"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

/// What became of the wish to go into an entry.
enum class Descent {
    entered,
    /// It is a folder that the walk is in already, reached again through a link.
    alreadyInside,
    notAFolder
};

/// A walk through what lies below a folder, in the order of the listings; where the caller descends
/// into a folder, what is in there comes next. Links to folders are folders. A folder that is
/// missing, unreadable or none has no entries.
///
/// A folder is read once, when the walk comes to it, and its listing is kept until its end; beside
/// that a level of folders takes a few words, so that depth costs neither stack nor descriptors.
class FolderWalk {
public:
    /// How a folder is read.
    using Listing = std::optional<std::vector<platform::DirectoryEntry>> (platform::FileSystem::*)(
        const std::string& path);

    explicit FolderWalk(const std::string& folder,
                        Listing listing = &platform::FileSystem::contentsOfDirectory);

    /// Goes to the next entry. False at the end of all.
    bool next();

    /// The entry that the walk has come to, and its path.
    const platform::DirectoryEntry& entry() const;
    const std::string& path() const { return path_; }

    /// Has the walk go through the entry next, if it is a folder.
    Descent descend();

private:
    /// A folder that the walk is in.
    struct Level {
        /// How much of the path is the folder's.
        std::size_t pathLength = 0;
        std::vector<platform::DirectoryEntry> entries;
        /// How many entries the walk has come to.
        std::size_t reached = 0;
        /// Asked for when a link is met.
        std::optional<platform::ItemIdentity> identity;
    };

    void enter();
    bool isFolder() const;
    bool leadsBack();

    platform::FileSystem& fileSystem_;
    const Listing listing_;
    std::string path_;
    std::vector<Level> levels_;
};
