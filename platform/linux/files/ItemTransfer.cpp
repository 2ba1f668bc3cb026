#include "platform/linux/files/ItemTransfer.h"

#include "platform/linux/files/KeptAttributes.h"
#include "platform/linux/files/TemporaryItem.h"
#include "platform/linux/files/TreeCopy.h"
#include "platform/linux/files/TreeRemoval.h"
#include "platform/linux/posix/Errors.h"
#include "platform/linux/posix/OpenFolder.h"
#include "platform/linux/posix/Rename.h"
#include "platform/linux/posix/SystemCall.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace platform::native {

namespace {

using TransferOutcome = std::optional<EntryFailure>;

TransferOutcome failureUnlessZero(int error, const std::string& name) {
    return error == 0 ? std::nullopt : std::optional(EntryFailure{error, name});
}

/// Whether an open folder is the one of this identity, or in it.
bool isInside(int folder, const Identity& outer) {
    FileDescriptor current(::openat(folder, ".", O_PATH | O_DIRECTORY | O_CLOEXEC));
    std::optional<Identity> below;
    struct statx status {};
    while (current && statusOf(current.get(), status) == 0 && identityOf(status) != below) {
        below = identityOf(status);
        if (below == outer) {
            return true;
        }
        current = FileDescriptor(
            ::openat(current.get(), "..", O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    }
    return false;
}

/// Whether an item of this status is a folder that the open folder is, or is in.
bool holds(const struct statx& status, int folder) {
    return S_ISDIR(status.stx_mode) && isInside(folder, identityOf(status));
}

/// What it means that an item cannot get its new name, once that would not put it into itself.
int namingFailure(int error) {
    return error == EINVAL ? nameNotAllowed : error;
}

/// One copy, or one move between volumes.
class Transfer {
public:
    Transfer(int source, const std::string& name, int destination, const std::string& newName,
             CopyPurpose purpose)
        : source_(source), name_(name), destination_(destination), newName_(newName),
          purpose_(purpose), isMove_(purpose == CopyPurpose::replaceSource) {}

    TransferOutcome run() {
        if (const int error = examine(); error != 0) {
            return EntryFailure{error, name_};
        }
        const bool isFolder = S_ISDIR(status_.stx_mode);
        auto failure =
            isFolder || S_ISREG(status_.stx_mode) ? copyOpened(isFolder) : copyInOneStep();
        if (!failure && isMove_) {
            failure = removeTree(source_, name_, {.only = &copied_});
        }
        return failure;
    }

private:
    /// Looks at what can be told before anything is done. Gives 0, or the errno.
    int examine() {
        struct statx occupant {};
        if (const int error = statusOfEntry(source_, name_, status_); error != 0) {
            return error;
        }
        if (statusOfEntry(destination_, newName_, occupant) == 0) {
            return EEXIST;
        }
        if (holds(status_, destination_)) {
            return EINVAL;
        }
        return isMove_ ? checkRemovable() : 0;
    }

    /// Whether the item may be taken out of its folder. Gives 0, or the errno.
    int checkRemovable() const {
        struct statx folder {};
        if (::faccessat(source_, ".", W_OK | X_OK, AT_EACCESS) != 0) {
            return errno;
        }
        if (const int error = statusOf(source_, folder); error != 0) {
            return error;
        }
        const auto user = ::geteuid();
        const bool isOthers = (folder.stx_mode & S_ISVTX) != 0 && user != 0 &&
                              user != status_.stx_uid && user != folder.stx_uid;
        return isOthers ? EPERM : 0;
    }

    /// A link, a FIFO, a socket or a device stands there at once or not at all.
    TransferOutcome copyInOneStep() {
        int error = namingFailure(copyUnopened(source_, name_, status_, destination_, newName_));
        if (error == 0 && isMove_) {
            copied_.add(status_);
            error = makeNameDurable({});
            if (error != 0) {
                ::unlinkat(destination_, newName_.c_str(), 0);
            }
        }
        return failureUnlessZero(error, name_);
    }

    TransferOutcome copyOpened(bool isFolder) {
        constexpr mode_t privateFolder = S_IFDIR | 0700;
        constexpr mode_t privateFile = S_IFREG | 0600;
        TemporaryItem copy(destination_, newName_, isFolder ? privateFolder : privateFile);
        if (copy.error() != 0) {
            return EntryFailure{copy.error(), name_};
        }
        dropInheritedLists(copy.item().get());
        if (auto failure = copyTree(source_, name_, copy.item(), purpose_, copied_)) {
            return failure;
        }
        int error = isMove_ ? makeContentDurable(copy.item(), isFolder) : 0;
        if (error == 0) {
            error = namingFailure(copy.rename());
        }
        if (error == 0 && isMove_) {
            error = makeNameDurable(copy.item());
            if (error != 0) {
                copy.takeBack();
            }
        }
        return failureUnlessZero(error, name_);
    }

    /// Of a folder, the whole volume is written: one call that waits once for all of its files.
    static int makeContentDurable(const FileDescriptor& item, bool isFolder) {
        return uninterrupted(
                   [&] { return isFolder ? ::syncfs(item.get()) : ::fsync(item.get()); }) == 0
                   ? 0
                   : errno;
    }

    /// Some volumes cannot do that for a folder.
    int makeNameDurable(const FileDescriptor& item) const {
        const auto folder = openFolder(destination_, ".");
        if (!folder) { // It takes items without showing what is in it.
            return item ? makeContentDurable(item, true) : errno;
        }
        const bool done = uninterrupted([&] { return ::fsync(folder.get()); }) == 0;
        return done || errno == EINVAL || errno == EOPNOTSUPP ? 0 : errno;
    }

    int source_;
    const std::string& name_;
    int destination_;
    const std::string& newName_;
    CopyPurpose purpose_;
    bool isMove_;
    struct statx status_ {};
    CopiedItems copied_;
};

} // namespace

TransferOutcome copyItem(int source, const std::string& name, int destination,
                         const std::string& newName) {
    return Transfer(source, name, destination, newName, CopyPurpose::keepBoth).run();
}

TransferOutcome moveItem(int source, const std::string& name, int destination,
                         const std::string& newName) {
    int error = renameWithoutReplacing(source, name, destination, newName);
    if (error == EXDEV) {
        return Transfer(source, name, destination, newName, CopyPurpose::replaceSource).run();
    }
    struct statx status {};
    if (error == EINVAL && statusOfEntry(source, name, status) == 0 &&
        !holds(status, destination)) {
        error = nameNotAllowed;
    }
    return failureUnlessZero(error, name);
}

} // namespace platform::native
