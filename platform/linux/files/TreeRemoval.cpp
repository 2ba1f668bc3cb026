#include "platform/linux/files/TreeRemoval.h"

#include "platform/linux/posix/DirectoryStack.h"
#include "platform/linux/posix/OpenDirectory.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <utility>
#include <vector>

namespace qf::native {

namespace {

/// The number of deepest directories that stay open for reading; one above is reopened through ".."
/// when the work returns to it.
constexpr std::size_t openRemovalLevels = 32;

/// How often to retry an entry that turns from a directory into something else and back, or a
/// directory that others refill, before failing.
constexpr int patience = 100;

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
    /// Removes the next entry of the deepest directory, or the directory itself after the last one.
    EntryResult<void> removeNext() {
        const auto entry = directories_.top().next();
        if (!entry) {
            return Unexpected(EntryError{entry.error(), levels_.back().name});
        }
        return *entry ? removeEntry(**entry) : leave();
    }

    /// Returns the open directory of the deepest level.
    int currentDirectory() const {
        return directories_.empty() ? parent_ : directories_.descriptor();
    }

    /// Deletes an entry of the current directory, or enters it if it is a directory. An entry that
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
            if (S_ISDIR(status->stx_mode)) { // As the system call would say.
                return Unexpected(Errno(EISDIR));
            }
            if (auto allowed = checkAllowed(name, *status); !allowed) {
                return allowed;
            }
        }
        return unlinkCurrent(name, 0);
    }

    /// Checks that the rules allow an entry of the current directory to be deleted.
    SystemResult<void> checkAllowed(const std::string& name, const struct statx& status) const {
        return rules_.only == nullptr ? SystemResult<void>()
                                      : rules_.only->check(currentDirectory(), name, status,
                                                           [&] { return namesFromTop(name); });
    }

    /// Returns the names on the way from the item to an entry of the current directory.
    MovedItems::Names namesFromTop(const std::string& name) const {
        MovedItems::Names names;
        if (!levels_.empty()) {
            for (auto level = levels_.begin() + 1; level != levels_.end(); ++level) {
                names.push_back(level->name);
            }
            names.push_back(name);
        }
        return names;
    }

    SystemResult<void> unlinkCurrent(const std::string& name, int flags) const {
        return unlink(currentDirectory(), name, flags);
    }

    SystemResult<void> unlink(int directory, const std::string& name, int flags) const {
        return rules_.deletes ? checked(::unlinkat(directory, name.c_str(), flags))
                              : SystemResult<void>();
    }

    /// Makes the directory `name` the deepest level. ENOTDIR means that it is not, or no longer, a
    /// directory.
    SystemResult<void> enter(const std::string& name) {
        if (rules_.unlocksDirectories) {
            constexpr mode_t accessible = 0700;
            // Entering it shows whether that helped.
            [[maybe_unused]] const int changed =
                ::fchmodat(currentDirectory(), name.c_str(), accessible, AT_SYMLINK_NOFOLLOW);
        }
        auto directory = openDirectory(currentDirectory(), name.c_str());
        if (!directory) {
            return couldNotOpen(name, directory.error());
        }
        const auto status = examine(name, *directory);
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

    /// Refuses the root of a mounted volume with EBUSY, and an item that the rules do not allow.
    SystemResult<struct statx> examine(const std::string& name,
                                       const FileDescriptor& directory) const {
        auto status = statusOf(directory.get());
        if (!status) {
            return status;
        }
        if ((status->stx_attributes & STATX_ATTR_MOUNT_ROOT) != 0) {
            return Unexpected(Errno(EBUSY));
        }
        if (const auto allowed = checkAllowed(name, *status); !allowed) {
            return Unexpected(allowed.error());
        }
        return status;
    }

    /// Deletes the deepest directory, which has been read to its end, and returns to the one above.
    EntryResult<void> leave() {
        RemovalLevel& done = levels_.back();
        if (const auto reopened = directories_.reopenAbove(); !reopened) {
            return aboutEntry(done.name, reopened);
        }
        const int parent = directories_.size() == 1 ? parent_ : directories_.descriptorAbove();
        const auto deleted = unlink(parent, done.name, AT_REMOVEDIR);
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

} // namespace qf::native
