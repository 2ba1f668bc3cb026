#include "platform/linux/files/TreeRemoval.h"

#include "platform/linux/posix/Directory.h"
#include "platform/linux/posix/OpenFolder.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <utility>
#include <vector>

namespace platform::native {

namespace {

/// How many of the deepest folders stay open for reading; one above is opened again, through
/// "..", when the work comes back to it.
constexpr std::size_t openRemovalLevels = 32;

/// How often an entry that turns from a folder into something else and back, or a folder that
/// others fill again, is tried before that counts as a failure.
constexpr int patience = 100;

/// What is about to be deleted is not what the rules allow.
constexpr int notAllowed = EAGAIN;

/// A folder that is being emptied.
struct RemovalLevel {
    std::string name;
    Identity identity;
    std::optional<Directory> directory; ///< None while the work is far below.
    int passesLeft = patience;
};

/// One removal. The members that can fail give 0 or an errno, and leave in `culprit_` the name of
/// the entry that it is about.
class TreeRemoval {
public:
    TreeRemoval(int parent, const RemovalRules& rules) : parent_(parent), rules_(rules) {}

    std::optional<EntryFailure> run(const std::string& name) {
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
        return error == 0 ? std::nullopt : std::optional(EntryFailure{error, culprit_});
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
            error = isFolder ? enter(entry.name) : unlinkAllowed(entry.name);
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

    int unlinkAllowed(const std::string& name) const {
        if (rules_.only != nullptr) {
            struct statx status {};
            const int error = statusOfEntry(currentFolder(), name, status);
            if (error != 0 || !rules_.only->contains(status)) {
                return error != 0 ? error : notAllowed;
            }
        }
        return unlinkCurrent(name, 0);
    }

    int unlinkCurrent(const std::string& name, int flags) const {
        return ::unlinkat(currentFolder(), name.c_str(), flags) == 0 ? 0 : errno;
    }

    /// Makes the folder `name` the deepest level. ENOTDIR means that it is no folder, or no more.
    int enter(const std::string& name) {
        if (rules_.unlocksFolders) {
            constexpr mode_t accessible = 0700;
            // Entering it tells whether that was of use.
            [[maybe_unused]] const int changed =
                ::fchmodat(currentFolder(), name.c_str(), accessible, AT_SYMLINK_NOFOLLOW);
        }
        auto folder = openFolder(currentFolder(), name.c_str());
        if (!folder) {
            return couldNotOpen(name, errno);
        }
        struct statx status {};
        if (const int error = examine(folder, status); error != 0) {
            return error;
        }
        RemovalLevel level{name, identityOf(status)};
        level.directory.emplace(std::move(folder));
        if (!*level.directory) {
            return errno;
        }
        levels_.push_back(std::move(level));
        if (levels_.size() > openRemovalLevels) {
            levels_[levels_.size() - 1 - openRemovalLevels].directory.reset();
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

    /// Refuses the root of a mounted volume with EBUSY, and what the rules do not allow.
    int examine(const FileDescriptor& folder, struct statx& status) const {
        if (const int error = statusOf(folder.get(), status); error != 0) {
            return error;
        }
        if ((status.stx_attributes & STATX_ATTR_MOUNT_ROOT) != 0) {
            return EBUSY;
        }
        return rules_.only == nullptr || rules_.only->contains(status) ? 0 : notAllowed;
    }

    /// Deletes the deepest folder, which has been read to its end, and goes back to the one above.
    int leave() {
        RemovalLevel& done = levels_.back();
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
        RemovalLevel& parent = levels_[levels_.size() - 2];
        Directory directory(
            openFolderAbove(levels_.back().directory->descriptor(), parent.identity));
        if (!directory) {
            return errno;
        }
        parent.directory.emplace(std::move(directory));
        return 0;
    }

    int parent_;
    const RemovalRules& rules_;
    std::vector<RemovalLevel> levels_;
    std::string culprit_;
};

} // namespace

std::optional<EntryFailure> removeTree(int parent, const std::string& name,
                                       const RemovalRules& rules) {
    return TreeRemoval(parent, rules).run(name);
}

} // namespace platform::native
