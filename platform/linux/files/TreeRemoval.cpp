#include "platform/linux/files/TreeRemoval.h"

#include "platform/linux/posix/DirectoryStack.h"
#include "platform/linux/posix/OpenDirectory.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <utility>
#include <vector>

namespace platform::native {

namespace {

/// How many of the deepest directories stay open for reading; one above is opened again, through
/// "..", when the work comes back to it.
constexpr std::size_t openRemovalLevels = 32;

/// How often an entry that turns from a directory into something else and back, or a directory that
/// others fill again, is tried before that counts as a failure.
constexpr int patience = 100;

/// What is about to be deleted is not what the rules allow.
constexpr Errno notAllowed{EAGAIN};

/// A directory that is being emptied.
struct RemovalLevel {
    std::string name;
    int passesLeft = patience;
};

/// One removal.
class TreeRemoval {
public:
    TreeRemoval(int parent, const RemovalRules& rules) : parent_(parent), rules_(rules) {}

    EntryResult<void> run(const std::string& name) {
        auto done = removeEntry({name, ItemKind::other});
        while (done && !levels_.empty()) {
            done = removeNext();
        }
        return done;
    }

private:
    /// Removes the next entry of the deepest directory, or that itself after its last.
    EntryResult<void> removeNext() {
        const auto entry = directories_.top().next();
        if (!entry) {
            return Unexpected(EntryError{entry.error(), levels_.back().name});
        }
        return *entry ? removeEntry(**entry) : leave();
    }

    /// The open directory that holds the entries of the deepest level.
    int currentDirectory() const {
        return directories_.empty() ? parent_ : directories_.descriptor();
    }

    /// Deletes an entry of the current directory, or enters it when it is a directory. One that
    /// others have deleted counts as done, except the item itself.
    EntryResult<void> removeEntry(const DirectoryEntry& entry) {
        bool isDirectory = entry.kind == ItemKind::directory;
        SystemResult<void> removed;
        for (int attempt = 0; attempt < patience; ++attempt) {
            removed = isDirectory ? enter(entry.name) : unlinkAllowed(entry.name);
            if (removed || (failedWith(removed, ENOENT) && !levels_.empty())) {
                return {};
            }
            if (!failedWith(removed, isDirectory ? ENOTDIR : EISDIR)) {
                break;
            }
            isDirectory = !isDirectory;
        }
        return aboutEntry(entry.name, removed);
    }

    SystemResult<void> unlinkAllowed(const std::string& name) const {
        if (rules_.only != nullptr) {
            const auto status = statusOfEntry(currentDirectory(), name);
            if (!status) {
                return Unexpected(status.error());
            }
            if (!rules_.only->contains(*status)) {
                return Unexpected(notAllowed);
            }
        }
        return unlinkCurrent(name, 0);
    }

    SystemResult<void> unlinkCurrent(const std::string& name, int flags) const {
        return checked(::unlinkat(currentDirectory(), name.c_str(), flags));
    }

    /// Makes the directory `name` the deepest level. ENOTDIR means that it is no directory, or no
    /// more.
    SystemResult<void> enter(const std::string& name) {
        if (rules_.unlocksDirectories) {
            constexpr mode_t accessible = 0700;
            // Entering it tells whether that was of use.
            [[maybe_unused]] const int changed =
                ::fchmodat(currentDirectory(), name.c_str(), accessible, AT_SYMLINK_NOFOLLOW);
        }
        auto directory = openDirectory(currentDirectory(), name.c_str());
        if (!directory) {
            return couldNotOpen(name, directory.error());
        }
        const auto status = examine(*directory);
        if (!status) {
            return Unexpected(status.error());
        }
        auto pushed = directories_.push(*std::move(directory), fileIdOf(*status));
        if (pushed) {
            levels_.push_back({name});
        }
        return pushed;
    }

    /// A directory that may not be read can still be deleted when it is empty.
    SystemResult<void> couldNotOpen(const std::string& name, Errno error) const {
        if (error.is(ELOOP)) {
            return Unexpected(Errno(ENOTDIR));
        }
        if (error.is(EACCES) && unlinkCurrent(name, AT_REMOVEDIR)) {
            return {};
        }
        return Unexpected(error);
    }

    /// Refuses the root of a mounted volume with EBUSY, and what the rules do not allow.
    SystemResult<struct statx> examine(const FileDescriptor& directory) const {
        auto status = statusOf(directory.get());
        if (!status) {
            return status;
        }
        if ((status->stx_attributes & STATX_ATTR_MOUNT_ROOT) != 0) {
            return Unexpected(Errno(EBUSY));
        }
        if (rules_.only != nullptr && !rules_.only->contains(*status)) {
            return Unexpected(notAllowed);
        }
        return status;
    }

    /// Deletes the deepest directory, which has been read to its end, and goes back to the one
    /// above.
    EntryResult<void> leave() {
        RemovalLevel& done = levels_.back();
        if (const auto reopened = directories_.reopenAbove(); !reopened) {
            return aboutEntry(done.name, reopened);
        }
        const int parent = directories_.size() == 1 ? parent_ : directories_.descriptorAbove();
        const auto deleted = checked(::unlinkat(parent, done.name.c_str(), AT_REMOVEDIR));
        if (failedWith(deleted, ENOTEMPTY) && done.passesLeft-- > 0) {
            directories_.top().rewind();
            return {};
        }
        const DirectoryEntry entry{std::move(done.name), ItemKind::other};
        levels_.pop_back();
        directories_.pop();
        if (deleted || failedWith(deleted, ENOENT)) {
            return {};
        }
        return failedWith(deleted, ENOTDIR) ? removeEntry(entry) : aboutEntry(entry.name, deleted);
    }

    int parent_;
    const RemovalRules& rules_;
    std::vector<RemovalLevel> levels_;
    DirectoryStack<DirectoryReader> directories_{openRemovalLevels};
};

} // namespace

EntryResult<void> removeTree(int parent, const std::string& name, const RemovalRules& rules) {
    return TreeRemoval(parent, rules).run(name);
}

} // namespace platform::native
