#include "platform/linux/TreeRemoval.h"

#include "platform/linux/Directory.h"
#include "platform/linux/Errors.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdint>
#include <utility>
#include <vector>

namespace platform::native {

namespace {

/// How many of the deepest folders stay open for reading; one above is opened again, through
/// "..", when the work comes back to it.
constexpr std::size_t openLevels = 32;

/// How often an entry that turns from a folder into something else and back, or a folder that
/// others fill again, is tried before that counts as a failure.
constexpr int patience = 100;

struct Identity {
    std::uint32_t deviceMajor = 0;
    std::uint32_t deviceMinor = 0;
    std::uint64_t inode = 0;
    bool operator==(const Identity&) const = default;
};

/// A folder that is being emptied.
struct Level {
    std::string name;
    Identity identity;
    std::optional<Directory> directory; ///< None while the work is far below.
    int passesLeft = patience;
};

FileDescriptor openFolder(int parent, const char* name) {
    return FileDescriptor(
        ::openat(parent, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
}

/// One removal. The members that can fail give 0 or an errno, and leave in `culprit_` the name of
/// the entry that it is about.
class TreeRemoval {
public:
    explicit TreeRemoval(int parent) : parent_(parent) {}

    std::optional<Error> run(const std::string& name) {
        int error = removeEntry({name, ItemKind::other});
        while (error == 0 && !levels_.empty()) {
            const auto entry = levels_.back().directory->next();
            if (entry) {
                error = removeEntry(*entry);
            } else if (levels_.back().directory->error() != 0) {
                error = failure(levels_.back().directory->error(), levels_.back().name);
            } else {
                error = leave();
            }
        }
        return error == 0 ? std::nullopt : std::optional(posixError(error, culprit_, "removed"));
    }

private:
    int failure(int error, const std::string& name) {
        culprit_ = name;
        return error;
    }

    /// The open folder that holds the entries of the deepest level.
    int currentFolder() const {
        return levels_.empty() ? parent_ : levels_.back().directory->descriptor();
    }

    /// Deletes an entry of the current folder, or enters it when it is a folder. One that others
    /// have deleted counts as done, but for the item itself.
    int removeEntry(const DirectoryEntry& entry) {
        bool isFolder = entry.kind == ItemKind::folder;
        int error = 0;
        for (int attempt = 0; attempt < patience; ++attempt) {
            error = isFolder ? enter(entry.name) : unlinkCurrent(entry.name, 0);
            if (error == 0 || (error == ENOENT && !levels_.empty())) {
                return 0;
            }
            if (error != (isFolder ? ENOTDIR : EISDIR)) {
                break;
            }
            isFolder = !isFolder;
        }
        return failure(error, entry.name);
    }

    int unlinkCurrent(const std::string& name, int flags) const {
        return ::unlinkat(currentFolder(), name.c_str(), flags) == 0 ? 0 : errno;
    }

    /// Makes the folder `name` the deepest level. ENOTDIR means that it is no folder, or no more.
    int enter(const std::string& name) {
        auto folder = openFolder(currentFolder(), name.c_str());
        if (!folder) {
            return couldNotOpen(name, errno);
        }
        Level level{name};
        if (const int error = identify(folder, level.identity); error != 0) {
            return error;
        }
        level.directory.emplace(std::move(folder));
        if (!*level.directory) {
            return errno;
        }
        levels_.push_back(std::move(level));
        if (levels_.size() > openLevels) {
            levels_[levels_.size() - 1 - openLevels].directory.reset();
        }
        return 0;
    }

    /// A folder that may not be read can still be deleted when it is empty.
    int couldNotOpen(const std::string& name, int error) const {
        if (error == ELOOP) {
            return ENOTDIR;
        }
        if (error == EACCES && unlinkCurrent(name, AT_REMOVEDIR) == 0) {
            return 0;
        }
        return error;
    }

    /// Tells a folder from every other, and refuses the root of a mounted volume with EBUSY.
    static int identify(const FileDescriptor& folder, Identity& identity) {
        struct statx status {};
        if (::statx(folder.get(), "", AT_EMPTY_PATH, STATX_INO, &status) != 0) {
            return errno;
        }
        identity = {status.stx_dev_major, status.stx_dev_minor, status.stx_ino};
        return (status.stx_attributes & STATX_ATTR_MOUNT_ROOT) != 0 ? EBUSY : 0;
    }

    /// Deletes the deepest folder, which has been read to its end, and goes back to the one above.
    int leave() {
        Level& done = levels_.back();
        if (const int error = reopenParent(); error != 0) {
            return failure(error, done.name);
        }
        const int parent =
            levels_.size() == 1 ? parent_ : levels_[levels_.size() - 2].directory->descriptor();
        const bool deleted = ::unlinkat(parent, done.name.c_str(), AT_REMOVEDIR) == 0;
        if (!deleted && errno == ENOTEMPTY && done.passesLeft-- > 0) {
            done.directory->rewind();
            return 0;
        }
        if (deleted || errno == ENOENT) {
            levels_.pop_back();
            return 0;
        }
        const int error = errno;
        const DirectoryEntry replaced{done.name, ItemKind::other};
        levels_.pop_back();
        return error == ENOTDIR ? removeEntry(replaced) : failure(error, replaced.name);
    }

    /// Opens the folder above the deepest one again where it has been closed. It must still be the
    /// one that the work came through: others may have moved the deepest folder elsewhere.
    int reopenParent() {
        if (levels_.size() < 2 || levels_[levels_.size() - 2].directory) {
            return 0;
        }
        Level& parent = levels_[levels_.size() - 2];
        auto folder = openFolder(levels_.back().directory->descriptor(), "..");
        if (!folder) {
            return errno;
        }
        Identity identity;
        if (const int error = identify(folder, identity); error != 0) {
            return error;
        }
        if (identity != parent.identity) {
            return ESTALE;
        }
        Directory directory(std::move(folder));
        if (!directory) {
            return errno;
        }
        parent.directory.emplace(std::move(directory));
        return 0;
    }

    int parent_;
    std::vector<Level> levels_;
    std::string culprit_;
};

} // namespace

std::optional<Error> removeTree(int parent, const std::string& name) {
    return TreeRemoval(parent).run(name);
}

} // namespace platform::native
