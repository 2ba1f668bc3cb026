#include "platform/linux/files/TreeCopy.h"

#include "platform/linux/files/FileContent.h"
#include "platform/linux/files/Metadata.h"
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
constexpr Errno changedMeanwhile{EAGAIN};

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

SystemResult<FileDescriptor> duplicate(const FileDescriptor& item) {
    return opened(::fcntl(item.get(), F_DUPFD_CLOEXEC, 0));
}

SystemResult<std::vector<DirectoryEntry>> readEntries(const FileDescriptor& folder) {
    auto own = duplicate(folder);
    if (!own) {
        return Unexpected(own.error());
    }
    auto directory = Directory::of(*std::move(own));
    if (!directory) {
        return Unexpected(directory.error());
    }
    std::vector<DirectoryEntry> entries;
    for (;;) {
        auto entry = directory->next();
        if (!entry) {
            return Unexpected(entry.error());
        }
        if (!*entry) {
            return entries;
        }
        entries.push_back(**std::move(entry));
    }
}

/// What it means that an entry of a copy could not be made: the copy is nobody else's, and each
/// name is made once.
Unexpected<Errno> makingFailure(Errno error) {
    if (error.is(EINVAL)) {
        return Unexpected(nameNotAllowed);
    }
    return Unexpected(error.is(EEXIST) ? nameNotDistinct : error);
}

bool isSameMoment(const statx_timestamp& one, const statx_timestamp& other) {
    return one.tv_sec == other.tv_sec && one.tv_nsec == other.tv_nsec;
}

/// The text of a link.
SystemResult<std::string> readLink(int folder, const std::string& name) {
    std::array<char, PATH_MAX> buffer{};
    const auto length = ::readlinkat(folder, name.c_str(), buffer.data(), buffer.size());
    if (length < 0) { // EINVAL: it is no link any more.
        return Unexpected(errno == EINVAL ? changedMeanwhile : Errno::last());
    }
    return std::string(buffer.data(), static_cast<std::size_t>(length));
}

/// A file that is open for reading.
struct OpenFile {
    FileDescriptor descriptor;
    struct statx status;
};

/// One copy.
class TreeCopy {
public:
    TreeCopy(int source, const FileDescriptor& top, CopyPurpose purpose, CopyFingerprints& copied)
        : source_(source), top_(top), isMove_(purpose == CopyPurpose::replaceSource),
          copied_(copied) {}

    EntryResult<void> run(const std::string& name) {
        auto done = aboutEntry(name, copyTop(name));
        while (done && !levels_.empty()) {
            auto& level = levels_.back();
            done = level.next < level.entries.size() ? copyEntry(level.entries[level.next++])
                                                     : leave();
        }
        copied_.close();
        return done;
    }

private:
    SystemResult<void> copyTop(const std::string& name) {
        const auto status = statusOf(top_.get());
        if (!status) {
            return Unexpected(status.error());
        }
        topIdentity_ = identityOf(*status);
        return S_ISDIR(status->stx_mode) ? enter(source_, name, duplicate(top_))
                                         : copyFileInto(source_, name, top_);
    }

    EntryResult<void> copyEntry(const DirectoryEntry& entry) {
        return aboutEntry(entry.name, copyEntryOfKind(entry));
    }

    SystemResult<void> copyEntryOfKind(const DirectoryEntry& entry) {
        const CopyLevel& level = levels_.back();
        switch (entry.kind) {
        case ItemKind::file:
            return copyFile(entry.name);
        case ItemKind::folder:
            if (::mkdirat(level.copy.get(), entry.name.c_str(), privateFolder) != 0) {
                return makingFailure(Errno::last());
            }
            return enter(level.source.get(), entry.name,
                         openFolder(level.copy.get(), entry.name.c_str()));
        default:
            return copyOther(entry.name);
        }
    }

    SystemResult<void> copyOther(const std::string& name) {
        const CopyLevel& level = levels_.back();
        const auto status = statusOfEntry(level.source.get(), name);
        if (!status) {
            return Unexpected(status.error());
        }
        if (auto removable = checkRemovable(*status); !removable) {
            return removable;
        }
        const auto made = copyUnopened(level.source.get(), name, *status, level.copy.get(), name);
        if (!made) {
            return makingFailure(made.error());
        }
        if (isMove_) {
            copied_.add(*status);
        }
        return {};
    }

    /// Whether the move may remove an item of the deepest folder later.
    SystemResult<void> checkRemovable(const struct statx& status) const {
        if (!isMove_) {
            return {};
        }
        const auto locks = status.stx_attributes_mask & status.stx_attributes;
        if ((locks & (STATX_ATTR_IMMUTABLE | STATX_ATTR_APPEND)) != 0) {
            return Unexpected(Errno(EPERM));
        }
        if ((status.stx_attributes & STATX_ATTR_MOUNT_ROOT) != 0) {
            return Unexpected(Errno(EBUSY));
        }
        const auto user = ::geteuid();
        const bool isOthers = !levels_.empty() && (levels_.back().status.stx_mode & S_ISVTX) != 0 &&
                              user != 0 && user != status.stx_uid &&
                              user != levels_.back().status.stx_uid;
        if (isOthers) {
            return Unexpected(Errno(EPERM));
        }
        return {};
    }

    SystemResult<OpenFile> openFile(int folder, const std::string& name) const {
        auto file = opened(retryOnEintr([&] {
            return ::openat(folder, name.c_str(),
                            O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
        }));
        if (!file) {
            return Unexpected(failedWith(file, ELOOP, ENXIO) ? changedMeanwhile : file.error());
        }
        const auto status = statusOf(file->get());
        if (!status) {
            return Unexpected(status.error());
        }
        if (!S_ISREG(status->stx_mode)) {
            return Unexpected(changedMeanwhile);
        }
        if (const auto removable = checkRemovable(*status); !removable) {
            return Unexpected(removable.error());
        }
        return OpenFile{*std::move(file), *status};
    }

    SystemResult<void> copyFile(const std::string& name) {
        const CopyLevel& level = levels_.back();
        const auto source = openFile(level.source.get(), name);
        if (!source) {
            return Unexpected(source.error());
        }
        const auto& status = source->status;
        if (status.stx_nlink > 1 && linkToFormer(identityOf(status), name)) {
            if (isMove_) {
                copied_.add(status);
            }
            return {};
        }
        // The owner may write, so that extended attributes can be set.
        const mode_t mode = isOwn(status) ? (status.stx_mode & ACCESSPERMS) | S_IWUSR
                                          : static_cast<mode_t>(S_IRUSR | S_IWUSR);
        const auto copy =
            opened(::openat(level.copy.get(), name.c_str(),
                            O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode));
        if (!copy) {
            return makingFailure(copy.error());
        }
        auto filled = fill(*source, *copy);
        return filled && status.stx_nlink != 1 ? rememberLinked(identityOf(status), *copy, name)
                                               : filled;
    }

    SystemResult<void> copyFileInto(int folder, const std::string& name,
                                    const FileDescriptor& copy) {
        const auto source = openFile(folder, name);
        if (!source) {
            return Unexpected(source.error());
        }
        return fill(*source, copy);
    }

    static bool isOwn(const struct statx& status) {
        return status.stx_uid == ::geteuid() && status.stx_gid == ::getegid();
    }

    SystemResult<void> fill(const OpenFile& source, const FileDescriptor& copy) {
        const int file = source.descriptor.get();
        auto filled = content_.copy(file, source.status, copy.get());
        if (filled) {
            filled = copyMetadata(file, source.status, copy.get());
        }
        return filled && isMove_ ? check(source, copy) : filled;
    }

    /// Compares a copy, and sees that the source has not changed since it was opened.
    SystemResult<void> check(const OpenFile& source, const FileDescriptor& copy) {
        auto compared = content_.compare(source.descriptor.get(), copy.get());
        const auto now = statusOf(source.descriptor.get());
        if (!now) {
            return Unexpected(now.error());
        }
        if (now->stx_size != source.status.stx_size ||
            !isSameMoment(now->stx_mtime, source.status.stx_mtime)) {
            return Unexpected(changedMeanwhile);
        }
        copied_.add(source.status);
        return compared;
    }

    /// Where a file of several names has been copied under another of them, makes its copy a hard
    /// link. False where that cannot be done: the file is then copied like any other.
    bool linkToFormer(const Identity& identity, const std::string& name) {
        const auto found = linked_.find(identity);
        if (found == linked_.end()) {
            return false;
        }
        const auto& [path, copyIdentity] = found->second;
        auto folder = duplicate(top_);
        for (std::size_t depth = 0; folder && depth + 1 < path.size(); ++depth) {
            folder = openFolder(folder->get(), path[depth].c_str());
        }
        const int destination = levels_.back().copy.get();
        if (!folder ||
            ::linkat(folder->get(), path.back().c_str(), destination, name.c_str(), 0) != 0) {
            return false;
        }
        const auto status = statusOfEntry(destination, name);
        if (status && identityOf(*status) == copyIdentity) {
            return true;
        }
        ::unlinkat(destination, name.c_str(), 0);
        return false;
    }

    SystemResult<void> rememberLinked(const Identity& identity, const FileDescriptor& copy,
                                      const std::string& name) {
        const auto status = statusOf(copy.get());
        if (!status) {
            return Unexpected(status.error());
        }
        LinkedFile file{{}, identityOf(*status)};
        for (std::size_t depth = 1; depth < levels_.size(); ++depth) {
            file.path.push_back(levels_[depth].name);
        }
        file.path.push_back(name);
        linked_.emplace(identity, std::move(file));
        return {};
    }

    /// Makes the folder `name` of the open folder `parent` the deepest level, to be copied into
    /// `copy`.
    SystemResult<void> enter(int parent, const std::string& name,
                             SystemResult<FileDescriptor> copy) {
        if (!copy) {
            return Unexpected(copy.error());
        }
        auto source = openFolder(parent, name.c_str());
        if (!source) {
            return Unexpected(failedWith(source, ELOOP, ENOTDIR) ? changedMeanwhile
                                                                 : source.error());
        }
        CopyLevel level{name};
        level.source = *std::move(source);
        level.copy = *std::move(copy);
        if (auto examined = examine(level); !examined) {
            return examined;
        }
        levels_.push_back(std::move(level));
        if (levels_.size() > openCopyLevels) {
            CopyLevel& far = levels_[levels_.size() - 1 - openCopyLevels];
            far.source.reset();
            far.copy.reset();
        }
        return {};
    }

    /// Reads what is to be known of a folder before its entries are copied.
    SystemResult<void> examine(CopyLevel& level) const {
        const auto status = statusOf(level.source.get());
        if (!status) {
            return Unexpected(status.error());
        }
        const auto copyStatus = statusOf(level.copy.get());
        if (!copyStatus) {
            return Unexpected(copyStatus.error());
        }
        if (auto removable = checkRemovable(*status); !removable) {
            return removable;
        }
        level.status = *status;
        level.copyIdentity = identityOf(*copyStatus);
        if (identityOf(level.status) == topIdentity_) { // It is copied into itself.
            return Unexpected(Errno(EINVAL));
        }
        return takeEntries(level);
    }

    SystemResult<void> takeEntries(CopyLevel& level) const {
        auto entries = readEntries(level.source);
        if (!entries) {
            return Unexpected(entries.error());
        }
        level.entries = *std::move(entries);
        if (!isMove_ || level.entries.empty()) {
            return {};
        }
        return checked(::faccessat(level.source.get(), ".", W_OK | X_OK, AT_EACCESS));
    }

    /// Finishes the deepest folder, all of whose entries are copied, and goes back to the one
    /// above.
    EntryResult<void> leave() {
        CopyLevel& done = levels_.back();
        auto left = copyMetadata(done.source.get(), done.status, done.copy.get());
        if (left && levels_.size() > 1) {
            left = reopenAbove(done, levels_[levels_.size() - 2]);
        }
        if (!left) {
            return aboutEntry(done.name, left);
        }
        if (isMove_) {
            copied_.add(done.status);
        }
        levels_.pop_back();
        return {};
    }

    /// Opens a folder that has been closed, and its copy, again from the ones below.
    static SystemResult<void> reopenAbove(const CopyLevel& below, CopyLevel& level) {
        auto reopened = reopen(level.source, below.source, identityOf(level.status));
        return reopened ? reopen(level.copy, below.copy, level.copyIdentity) : reopened;
    }

    static SystemResult<void> reopen(FileDescriptor& folder, const FileDescriptor& below,
                                     const Identity& identity) {
        if (folder) {
            return {};
        }
        auto above = openFolderAbove(below.get(), identity);
        if (!above) {
            return Unexpected(above.error());
        }
        folder = *std::move(above);
        return {};
    }

    int source_;
    const FileDescriptor& top_;
    bool isMove_;
    CopyFingerprints& copied_;
    Identity topIdentity_;
    FileContent content_;
    std::vector<CopyLevel> levels_;
    std::map<Identity, LinkedFile> linked_;
};

/// Makes a link of the same text, and reads it back.
SystemResult<void> makeLink(int source, const std::string& name, int destination,
                            const std::string& newName) {
    const auto text = readLink(source, name);
    if (!text) {
        return Unexpected(text.error());
    }
    if (auto made = checked(::symlinkat(text->c_str(), destination, newName.c_str())); !made) {
        return made;
    }
    const auto copy = readLink(destination, newName);
    if (copy && *copy == *text) {
        return {};
    }
    ::unlinkat(destination, newName.c_str(), 0);
    return Unexpected(copy ? Errno(EIO) : copy.error());
}

/// Makes the link, FIFO, socket or device itself.
SystemResult<void> makeUnopened(int source, const std::string& name, const struct statx& status,
                                int destination, const std::string& newName) {
    if (S_ISLNK(status.stx_mode)) {
        return makeLink(source, name, destination, newName);
    }
    const auto device = ::makedev(status.stx_rdev_major, status.stx_rdev_minor);
    return checked(::mknodat(destination, newName.c_str(), status.stx_mode, device));
}

} // namespace

EntryResult<void> copyTree(int source, const std::string& name, const FileDescriptor& top,
                           CopyPurpose purpose, CopyFingerprints& copied) {
    return TreeCopy(source, top, purpose, copied).run(name);
}

SystemResult<void> copyUnopened(int source, const std::string& name, const struct statx& status,
                                int destination, const std::string& newName) {
    if (S_ISREG(status.stx_mode) || S_ISDIR(status.stx_mode)) {
        return Unexpected(changedMeanwhile);
    }
    if (auto made = makeUnopened(source, name, status, destination, newName); !made) {
        return made;
    }
    auto kept = copyMetadataToEntry(status, destination, newName);
    if (!kept) {
        ::unlinkat(destination, newName.c_str(), 0);
    }
    return kept;
}

} // namespace platform::native
