#include "platform/linux/files/TreeCopy.h"

#include "platform/linux/files/FileContent.h"
#include "platform/linux/files/KeptAttributes.h"
#include "platform/linux/posix/Directory.h"
#include "platform/linux/posix/Errors.h"
#include "platform/linux/posix/OpenFolder.h"
#include "platform/linux/posix/SystemCall.h"

#include <fcntl.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <map>
#include <string_view>
#include <vector>

namespace platform::native {

namespace {

/// How many of the deepest folders stay open, with their copies; one above is opened again, through
/// "..", when the work comes back to it.
constexpr std::size_t openCopyLevels = 16;

/// An item of the source is another one than a moment ago, or changes while it is copied.
constexpr int changedMeanwhile = EAGAIN;

constexpr mode_t privateFolder = 0700;

/// A folder that is being copied.
struct CopyLevel {
    std::string name;
    struct statx status {};
    Identity copyIdentity;
    FileDescriptor source; ///< None while the work is far below, like the copy.
    FileDescriptor copy;
    std::vector<DirectoryEntry> entries;
    std::size_t next = 0;
};

/// Where the copy of a file with several names stands, seen from the top.
struct LinkedFile {
    std::vector<std::string> path;
    Identity copyIdentity;
};

int readEntries(const FileDescriptor& folder, std::vector<DirectoryEntry>& entries) {
    Directory directory(FileDescriptor(::fcntl(folder.get(), F_DUPFD_CLOEXEC, 0)));
    if (!directory) {
        return errno;
    }
    while (auto entry = directory.next()) {
        entries.push_back(std::move(*entry));
    }
    return directory.error();
}

/// What it means that an entry of a copy could not be made: the copy is nobody else's, and each
/// name is made once.
int makingFailure(int error) {
    switch (error) {
    case EINVAL:
        return nameNotAllowed;
    case EEXIST:
        return nameNotDistinct;
    default:
        return error;
    }
}

bool isSameMoment(const statx_timestamp& one, const statx_timestamp& other) {
    return one.tv_sec == other.tv_sec && one.tv_nsec == other.tv_nsec;
}

/// The text of a link. Gives 0, or the errno.
int readLink(int folder, const std::string& name, std::string& text) {
    std::array<char, PATH_MAX> buffer{};
    const auto length = ::readlinkat(folder, name.c_str(), buffer.data(), buffer.size());
    if (length < 0) {
        return errno == EINVAL ? changedMeanwhile : errno; // It is no link any more.
    }
    text.assign(buffer.data(), static_cast<std::size_t>(length));
    return 0;
}

/// One copy. The members that can fail give 0 or an errno, and leave in `culprit_` the name of the
/// entry that it is about.
class TreeCopy {
public:
    TreeCopy(int source, const FileDescriptor& top, CopyPurpose purpose, CopiedItems& copied)
        : source_(source), top_(top), isMove_(purpose == CopyPurpose::replaceSource),
          copied_(copied) {}

    std::optional<EntryFailure> run(const std::string& name) {
        int error = copyTop(name);
        while (error == 0 && !levels_.empty()) {
            auto& level = levels_.back();
            error = level.next < level.entries.size() ? copyEntry(level.entries[level.next++])
                                                      : leave();
        }
        copied_.close();
        return error == 0 ? std::nullopt : std::optional(EntryFailure{error, culprit_});
    }

private:
    int failure(int error, const std::string& name) {
        culprit_ = name;
        return error;
    }

    int copyTop(const std::string& name) {
        struct statx status {};
        int error = statusOf(top_.get(), status);
        if (error == 0) {
            topIdentity_ = identityOf(status);
            error =
                S_ISDIR(status.stx_mode)
                    ? enter(source_, name, FileDescriptor(::fcntl(top_.get(), F_DUPFD_CLOEXEC, 0)))
                    : copyFileInto(source_, name, top_);
        }
        return error == 0 ? 0 : failure(error, name);
    }

    int copyEntry(const DirectoryEntry& entry) {
        const int error = copyEntryOfKind(entry);
        return error == 0 ? 0 : failure(error, entry.name);
    }

    int copyEntryOfKind(const DirectoryEntry& entry) {
        const CopyLevel& level = levels_.back();
        switch (entry.kind) {
        case ItemKind::file:
            return copyFile(entry.name);
        case ItemKind::folder:
            if (::mkdirat(level.copy.get(), entry.name.c_str(), privateFolder) != 0) {
                return makingFailure(errno);
            }
            return enter(level.source.get(), entry.name,
                         openFolder(level.copy.get(), entry.name.c_str()));
        default:
            return copyOther(entry.name);
        }
    }

    int copyOther(const std::string& name) {
        const CopyLevel& level = levels_.back();
        struct statx status {};
        int error = statusOfEntry(level.source.get(), name, status);
        if (error == 0) {
            error = checkRemovable(status);
        }
        if (error == 0) {
            error = makingFailure(
                copyUnopened(level.source.get(), name, status, level.copy.get(), name));
        }
        if (error == 0 && isMove_) {
            copied_.add(status);
        }
        return error;
    }

    /// Whether the move may remove an item of the deepest folder later. Gives 0, or the errno.
    int checkRemovable(const struct statx& status) const {
        if (!isMove_) {
            return 0;
        }
        const auto locks = status.stx_attributes_mask & status.stx_attributes;
        if ((locks & (STATX_ATTR_IMMUTABLE | STATX_ATTR_APPEND)) != 0) {
            return EPERM;
        }
        if ((status.stx_attributes & STATX_ATTR_MOUNT_ROOT) != 0) {
            return EBUSY;
        }
        const auto user = ::geteuid();
        const bool isOthers = !levels_.empty() && (levels_.back().status.stx_mode & S_ISVTX) != 0 &&
                              user != 0 && user != status.stx_uid &&
                              user != levels_.back().status.stx_uid;
        return isOthers ? EPERM : 0;
    }

    static FileDescriptor openFile(int folder, const std::string& name) {
        return FileDescriptor(uninterrupted([&] {
            return ::openat(folder, name.c_str(),
                            O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
        }));
    }

    int copyFile(const std::string& name) {
        const CopyLevel& level = levels_.back();
        const auto source = openFile(level.source.get(), name);
        struct statx status {};
        if (const int error = openedStatus(source, status); error != 0) {
            return error;
        }
        if (status.stx_nlink > 1 && linkToFormer(identityOf(status), name)) {
            if (isMove_) {
                copied_.add(status);
            }
            return 0;
        }
        // The owner may write, so that extended attributes can be set.
        const mode_t mode = isOwn(status) ? (status.stx_mode & ACCESSPERMS) | S_IWUSR
                                          : static_cast<mode_t>(S_IRUSR | S_IWUSR);
        const FileDescriptor copy(::openat(level.copy.get(), name.c_str(),
                                           O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                                           mode));
        if (!copy) {
            return makingFailure(errno);
        }
        const int error = fill(source, status, copy);
        return error != 0 || status.stx_nlink == 1 ? error
                                                   : rememberLinked(identityOf(status), copy, name);
    }

    int copyFileInto(int folder, const std::string& name, const FileDescriptor& copy) {
        const auto source = openFile(folder, name);
        struct statx status {};
        const int error = openedStatus(source, status);
        return error == 0 ? fill(source, status, copy) : error;
    }

    int openedStatus(const FileDescriptor& source, struct statx& status) const {
        if (!source) {
            return errno == ELOOP || errno == ENXIO ? changedMeanwhile : errno;
        }
        if (const int error = statusOf(source.get(), status); error != 0) {
            return error;
        }
        return S_ISREG(status.stx_mode) ? checkRemovable(status) : changedMeanwhile;
    }

    static bool isOwn(const struct statx& status) {
        return status.stx_uid == ::geteuid() && status.stx_gid == ::getegid();
    }

    int fill(const FileDescriptor& source, const struct statx& status, const FileDescriptor& copy) {
        int error = content_.copy(source.get(), status, copy.get());
        if (error == 0) {
            error = keepAttributes(source.get(), status, copy.get());
        }
        return error == 0 && isMove_ ? check(source, status, copy) : error;
    }

    /// Compares a copy, and sees that the source has not changed since it was opened.
    int check(const FileDescriptor& source, const struct statx& status,
              const FileDescriptor& copy) {
        const int difference = content_.compare(source.get(), copy.get());
        struct statx now {};
        if (const int error = statusOf(source.get(), now); error != 0) {
            return error;
        }
        if (now.stx_size != status.stx_size || !isSameMoment(now.stx_mtime, status.stx_mtime)) {
            return changedMeanwhile;
        }
        copied_.add(status);
        return difference;
    }

    /// Where a file of several names has been copied under another of them, makes its copy a hard
    /// link. False where that cannot be done: the file is then copied like any other.
    bool linkToFormer(const Identity& identity, const std::string& name) {
        const auto found = linked_.find(identity);
        if (found == linked_.end()) {
            return false;
        }
        const auto& [path, copyIdentity] = found->second;
        FileDescriptor folder(::fcntl(top_.get(), F_DUPFD_CLOEXEC, 0));
        for (std::size_t depth = 0; folder && depth + 1 < path.size(); ++depth) {
            folder = openFolder(folder.get(), path[depth].c_str());
        }
        const int destination = levels_.back().copy.get();
        if (!folder ||
            ::linkat(folder.get(), path.back().c_str(), destination, name.c_str(), 0) != 0) {
            return false;
        }
        struct statx status {};
        if (statusOfEntry(destination, name, status) == 0 && identityOf(status) == copyIdentity) {
            return true;
        }
        ::unlinkat(destination, name.c_str(), 0);
        return false;
    }

    int rememberLinked(const Identity& identity, const FileDescriptor& copy,
                       const std::string& name) {
        struct statx status {};
        if (const int error = statusOf(copy.get(), status); error != 0) {
            return error;
        }
        LinkedFile file{{}, identityOf(status)};
        for (std::size_t depth = 1; depth < levels_.size(); ++depth) {
            file.path.push_back(levels_[depth].name);
        }
        file.path.push_back(name);
        linked_.emplace(identity, std::move(file));
        return 0;
    }

    /// Makes the folder `name` of the open folder `parent` the deepest level, to be copied into
    /// `copy`.
    int enter(int parent, const std::string& name, FileDescriptor copy) {
        if (!copy) {
            return errno;
        }
        CopyLevel level{name};
        level.copy = std::move(copy);
        level.source = openFolder(parent, name.c_str());
        if (!level.source) {
            return errno == ELOOP || errno == ENOTDIR ? changedMeanwhile : errno;
        }
        if (const int error = examine(level); error != 0) {
            return error;
        }
        levels_.push_back(std::move(level));
        if (levels_.size() > openCopyLevels) {
            CopyLevel& far = levels_[levels_.size() - 1 - openCopyLevels];
            far.source.reset();
            far.copy.reset();
        }
        return 0;
    }

    /// Reads what is to be known of a folder before its entries are copied.
    int examine(CopyLevel& level) const {
        struct statx copyStatus {};
        int error = statusOf(level.source.get(), level.status);
        if (error == 0) {
            error = statusOf(level.copy.get(), copyStatus);
        }
        if (error == 0) {
            error = checkRemovable(level.status);
        }
        if (error != 0) {
            return error;
        }
        level.copyIdentity = identityOf(copyStatus);
        if (identityOf(level.status) == topIdentity_) { // It is copied into itself.
            return EINVAL;
        }
        error = readEntries(level.source, level.entries);
        if (error == 0 && isMove_ && !level.entries.empty() &&
            ::faccessat(level.source.get(), ".", W_OK | X_OK, AT_EACCESS) != 0) {
            error = errno;
        }
        return error;
    }

    /// Finishes the deepest folder, all of whose entries are copied, and goes back to the one
    /// above.
    int leave() {
        CopyLevel& done = levels_.back();
        int error = keepAttributes(done.source.get(), done.status, done.copy.get());
        if (error == 0 && levels_.size() > 1) {
            error = reopenAbove(done, levels_[levels_.size() - 2]);
        }
        if (error != 0) {
            return failure(error, done.name);
        }
        if (isMove_) {
            copied_.add(done.status);
        }
        levels_.pop_back();
        return 0;
    }

    /// Opens a folder that has been closed, and its copy, again from the ones below.
    static int reopenAbove(const CopyLevel& below, CopyLevel& level) {
        if (!level.source) {
            level.source = openFolderAbove(below.source.get(), identityOf(level.status));
        }
        if (!level.copy && level.source) {
            level.copy = openFolderAbove(below.copy.get(), level.copyIdentity);
        }
        return level.source && level.copy ? 0 : errno;
    }

    int source_;
    const FileDescriptor& top_;
    bool isMove_;
    CopiedItems& copied_;
    Identity topIdentity_;
    FileContent content_;
    std::vector<CopyLevel> levels_;
    std::map<Identity, LinkedFile> linked_;
    std::string culprit_;
};

/// Makes the link, FIFO, socket or device itself.
int makeUnopened(int source, const std::string& name, const struct statx& status, int destination,
                 const std::string& newName) {
    if (!S_ISLNK(status.stx_mode)) {
        const auto device = ::makedev(status.stx_rdev_major, status.stx_rdev_minor);
        return ::mknodat(destination, newName.c_str(), status.stx_mode, device) == 0 ? 0 : errno;
    }
    std::string text;
    std::string copy;
    int error = readLink(source, name, text);
    if (error == 0 && ::symlinkat(text.c_str(), destination, newName.c_str()) != 0) {
        error = errno;
    }
    if (error != 0) {
        return error;
    }
    error = readLink(destination, newName, copy);
    if (error == 0 && copy == text) {
        return 0;
    }
    ::unlinkat(destination, newName.c_str(), 0);
    return error == 0 ? EIO : error;
}

} // namespace

std::optional<EntryFailure> copyTree(int source, const std::string& name, const FileDescriptor& top,
                                     CopyPurpose purpose, CopiedItems& copied) {
    return TreeCopy(source, top, purpose, copied).run(name);
}

int copyUnopened(int source, const std::string& name, const struct statx& status, int destination,
                 const std::string& newName) {
    if (S_ISREG(status.stx_mode) || S_ISDIR(status.stx_mode)) {
        return changedMeanwhile;
    }
    int error = makeUnopened(source, name, status, destination, newName);
    if (error == 0) {
        error = keepAttributesOfEntry(status, destination, newName);
        if (error != 0) {
            ::unlinkat(destination, newName.c_str(), 0);
        }
    }
    return error;
}

} // namespace platform::native
