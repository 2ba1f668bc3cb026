#include "platform/linux/files/ItemTransfer.h"

#include "platform/linux/files/Metadata.h"
#include "platform/linux/files/MovedItems.h"
#include "platform/linux/files/Removability.h"
#include "platform/linux/files/SpecialFiles.h"
#include "platform/linux/files/TemporaryItem.h"
#include "platform/linux/files/TreeCopy.h"
#include "platform/linux/files/TreeRemoval.h"
#include "platform/linux/posix/Errors.h"
#include "platform/linux/posix/OpenDirectory.h"
#include "platform/linux/posix/Rename.h"
#include "platform/linux/posix/SystemCall.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <optional>

namespace qf::native {

namespace {

/// Returns whether an open directory is the one of this identity, or inside it.
bool isInside(int directory, const FileId& outer) {
    auto current = opened(::openat(directory, ".", O_PATH | O_DIRECTORY | O_CLOEXEC));
    std::optional<FileId> below;
    while (current) {
        const auto status = statusOf(current->get());
        if (!status || fileIdOf(*status) == below) {
            return false;
        }
        below = fileIdOf(*status);
        if (below == outer) {
            return true;
        }
        current =
            opened(::openat(current->get(), "..", O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    }
    return false;
}

/// Returns whether an item of this status is a directory that is, or contains, the open directory.
bool holds(const struct statx& status, int directory) {
    return S_ISDIR(status.stx_mode) && isInside(directory, fileIdOf(status));
}

/// What the mark of a move is for.
std::string markPurpose(const std::string& name, const std::string& newName) {
    return newName + '/' + name;
}

/// Returns the meaning of a failure to name an item, once it is known that the item would not be
/// put into itself.
SystemResult<void> afterNaming(const SystemResult<void>& named) {
    return failedWith(named, EINVAL) ? Unexpected(nameNotAllowed) : named;
}

constexpr mode_t hiddenDirectory = S_IFDIR | 0700;
constexpr mode_t hiddenFile = S_IFREG | 0600;

/// One copy, or one move between volumes.
class Transfer {
public:
    Transfer(const EntryRef& source, const EntryRef& destination, CopyPurpose purpose)
        : source_(source.directory), name_(source.name), destination_(destination.directory),
          newName_(destination.name), purpose_(purpose),
          isMove_(purpose == CopyPurpose::replaceSource) {}

    EntryResult<void> run() {
        if (const auto examined = examine(); !examined) {
            return isMove_ ? finish(examined.error()) : aboutEntry(name_, examined);
        }
        return isMove_ ? move() : copy();
    }

    /// Finishes the move of a process that was killed while it removed the source, if that explains
    /// the obstacle: the mark shows that what exists at the destination is its copy. Nothing is
    /// removed before all that is left has proved to be copied. The mark stays for a later move if
    /// that may finish what this one cannot: unless the source has gone, or is another one by now.
    EntryResult<void> finish(Errno obstacle) {
        auto mark = TemporaryItem::adoptMark(destination_, markPurpose(name_, newName_));
        EntryResult<void> unfinished = aboutEntry(name_, Unexpected(obstacle));
        if (!mark) {
            return unfinished;
        }
        TemporaryItem::removeAbandonedCopies(destination_);
        const auto done = obstacle.is(EEXIST) ? removeCopied() : unfinished;
        const bool hasChanged = !done && done.error().number == changedMeanwhile;
        if (!done && !hasChanged && !done.error().number.is(ENOENT)) {
            mark->leave();
        }
        return hasChanged ? unfinished : done;
    }

private:
    EntryResult<void> copy() {
        const bool isDirectory = S_ISDIR(status_.stx_mode);
        return isDirectory || S_ISREG(status_.stx_mode) ? copyOpened(isDirectory)
                                                        : aboutEntry(name_, copyUnopenable());
    }

    /// Without the mark, a process that is killed leaves the rest of the source where it is.
    EntryResult<void> move() {
        const auto mark = TemporaryItem::makeMark(destination_, markPurpose(name_, newName_));
        auto done = copy();
        if (done) {
            MovedItems moved(destination_, newName_, &copied_);
            done = removeTree(source_, name_, {.only = &moved});
            // A rest that stays could be taken for the item.
            if (!done && done.error().number != changedMeanwhile && removeCopied()) {
                done = {};
            }
        }
        return done;
    }

    /// Removes what is left of a source that was copied, once all of it has proved to be copied.
    EntryResult<void> removeCopied() {
        MovedItems moved(destination_, newName_, nullptr);
        auto done = removeTree(source_, name_, {.only = &moved, .deletes = false});
        if (done) {
            done = aboutEntry(name_, makeNameDurable({}));
        }
        return done ? removeTree(source_, name_, {.only = &moved}) : done;
    }

    /// Checks what can be checked before anything is done.
    SystemResult<void> examine() {
        const auto status = statusOfEntry(source_, name_);
        if (!status) {
            return Unexpected(status.error());
        }
        status_ = *status;
        if (statusOfEntry(destination_, newName_)) {
            return Unexpected(Errno(EEXIST));
        }
        if (holds(status_, destination_)) {
            return Unexpected(Errno(EINVAL));
        }
        return isMove_ ? checkRemovable() : SystemResult<void>();
    }

    /// Checks that the item may be removed from its directory.
    SystemResult<void> checkRemovable() const {
        if (auto writable = checked(::faccessat(source_, ".", W_OK | X_OK, AT_EACCESS));
            !writable) {
            return writable;
        }
        const auto directory = statusOf(source_);
        if (!directory) {
            return Unexpected(directory.error());
        }
        if (isKeptByDirectory(status_, *directory, ::geteuid())) {
            return Unexpected(Errno(EPERM));
        }
        return {};
    }

    /// Copies a link, a FIFO, a socket or a device.
    SystemResult<void> copyUnopenable() {
        auto done = afterNaming(makeAside());
        if (done && isMove_) {
            copied_.add(status_, TreePlace::top);
            copied_.close();
            done = makeNameDurable({});
            if (!done) {
                ::unlinkat(destination_, newName_.c_str(), 0);
            }
        }
        return done;
    }

    /// Gives the copy its name when it has everything else: one that a killed process left without
    /// its date would be taken for another item.
    SystemResult<void> makeAside() const {
        const auto aside = TemporaryItem::make(destination_, newName_, hiddenDirectory);
        if (!aside) {
            return Unexpected(aside.error());
        }
        const EntryRef copy{aside->item().get(), newName_};
        const auto copied = copyUnopened({source_, name_}, status_, copy);
        return copied ? renameWithoutReplacing(copy, {destination_, newName_}) : copied;
    }

    EntryResult<void> copyOpened(bool isDirectory) {
        auto copy =
            TemporaryItem::make(destination_, newName_, isDirectory ? hiddenDirectory : hiddenFile);
        if (!copy) {
            return Unexpected(EntryError{copy.error(), name_});
        }
        dropInheritedAcls(copy->item().get());
        if (auto copied = copyTree(source_, name_, copy->item(), purpose_, copied_); !copied) {
            return copied;
        }
        return aboutEntry(name_, giveName(*copy, isDirectory));
    }

    /// Makes a complete copy visible; that of a move is durable by then.
    SystemResult<void> giveName(TemporaryItem& copy, bool isDirectory) const {
        if (!isMove_) {
            return afterNaming(copy.rename());
        }
        auto done = makeContentDurable(copy.item(), isDirectory);
        if (done) {
            done = afterNaming(copy.rename());
        }
        if (done) {
            done = makeNameDurable(copy.item());
            if (!done) {
                copy.takeBack();
            }
        }
        return done;
    }

    /// For a directory, syncs the whole volume: one call that waits once for all of its files.
    static SystemResult<void> makeContentDurable(const FileDescriptor& item, bool isDirectory) {
        return checked(
            retryOnEintr([&] { return isDirectory ? ::syncfs(item.get()) : ::fsync(item.get()); }));
    }

    /// Some volumes cannot do that for a directory.
    SystemResult<void> makeNameDurable(const FileDescriptor& item) const {
        const auto directory = openDirectory(destination_, ".");
        if (!directory) { // It accepts new entries but cannot be read.
            return item ? makeContentDurable(item, true) : Unexpected(directory.error());
        }
        auto done = checked(retryOnEintr([&] { return ::fsync(directory->get()); }));
        return failedWith(done, EINVAL, EOPNOTSUPP) ? SystemResult<void>() : done;
    }

    int source_;
    const std::string& name_;
    int destination_;
    const std::string& newName_;
    CopyPurpose purpose_;
    bool isMove_;
    struct statx status_ {};
    CopyFingerprints copied_;
};

} // namespace

EntryResult<void> copyItem(const EntryRef& source, const EntryRef& destination) {
    return Transfer(source, destination, CopyPurpose::keepBoth).run();
}

EntryResult<void> moveItem(const EntryRef& source, const EntryRef& destination) {
    auto renamed = renameWithoutReplacing(source, destination);
    if (failedWith(renamed, EXDEV)) {
        return Transfer(source, destination, CopyPurpose::replaceSource).run();
    }
    if (failedWith(renamed, EINVAL)) {
        const auto status = statusOfEntry(source.directory, source.name);
        if (status && !holds(*status, destination.directory)) {
            renamed = Unexpected(nameNotAllowed);
        }
    }
    return aboutEntry(source.name, renamed);
}

bool isMoveUnfinished(const EntryRef& source, const EntryRef& destination) {
    auto mark =
        TemporaryItem::adoptMark(destination.directory, markPurpose(source.name, destination.name));
    if (!mark) {
        return false;
    }
    mark->leave();
    MovedItems moved(destination.directory, destination.name, nullptr);
    return removeTree(source.directory, source.name, {.only = &moved, .deletes = false}).ok();
}

EntryResult<void> finishMove(const EntryRef& source, const EntryRef& destination) {
    return Transfer(source, destination, CopyPurpose::replaceSource).finish(Errno(EEXIST));
}

} // namespace qf::native
