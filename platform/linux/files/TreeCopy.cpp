#include "platform/linux/files/TreeCopy.h"

#include "platform/linux/files/CopiedLinks.h"
#include "platform/linux/files/FileCopier.h"
#include "platform/linux/files/Metadata.h"
#include "platform/linux/files/Removability.h"
#include "platform/linux/files/SpecialFiles.h"
#include "platform/linux/posix/DirectoryReader.h"
#include "platform/linux/posix/DirectoryStack.h"
#include "platform/linux/posix/Errors.h"
#include "platform/linux/posix/OpenDirectory.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <vector>

namespace qf::native {

namespace {

/// The number of deepest directories that stay open, with their copies; one above is reopened
/// through ".." when the work returns to it.
constexpr std::size_t openCopyLevels = 16;

constexpr mode_t privateDirectory = 0700;

/// A directory that is being copied.
struct CopyLevel {
    std::string name;
    TreePlace place = TreePlace::top;
    struct statx status {};
    std::vector<DirectoryEntry> entries;
    std::size_t next = 0;
};

SystemResult<FileDescriptor> duplicate(const FileDescriptor& item) {
    return opened(::fcntl(item.get(), F_DUPFD_CLOEXEC, 0));
}

SystemResult<std::vector<DirectoryEntry>> readEntries(const FileDescriptor& directory) {
    auto own = duplicate(directory);
    if (!own) {
        return Unexpected(own.error());
    }
    auto reader = DirectoryReader::of(*std::move(own));
    if (!reader) {
        return Unexpected(reader.error());
    }
    std::vector<DirectoryEntry> entries;
    for (;;) {
        auto entry = reader->next();
        if (!entry) {
            return Unexpected(entry.error());
        }
        if (!*entry) {
            return entries;
        }
        entries.push_back(**std::move(entry));
    }
}

/// Returns the meaning of a failure to make an entry of a copy: the copy is nobody else's, and each
/// name is made once.
Unexpected<Errno> makingFailure(Errno error) {
    if (error.is(EINVAL)) {
        return Unexpected(nameNotAllowed);
    }
    return Unexpected(error.is(EEXIST) ? nameNotDistinct : error);
}

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
        topId_ = fileIdOf(*status);
        return S_ISDIR(status->stx_mode) ? enter(source_, name, duplicate(top_))
                                         : copyFileInto(source_, name, top_);
    }

    EntryResult<void> copyEntry(const DirectoryEntry& entry) {
        return aboutEntry(entry.name, copyEntryOfKind(entry));
    }

    SystemResult<void> copyEntryOfKind(const DirectoryEntry& entry) {
        switch (entry.kind) {
        case ItemKind::file:
            return copyFile(entry.name);
        case ItemKind::directory:
            if (::mkdirat(copies_.descriptor(), entry.name.c_str(), privateDirectory) != 0) {
                return makingFailure(Errno::last());
            }
            return enter(sources_.descriptor(), entry.name,
                         openDirectory(copies_.descriptor(), entry.name.c_str()));
        default:
            return copyOther(entry.name);
        }
    }

    SystemResult<void> copyOther(const std::string& name) {
        const auto status = statusOfEntry(sources_.descriptor(), name);
        if (!status) {
            return Unexpected(status.error());
        }
        if (auto removable = checkRemovable(*status); !removable) {
            return removable;
        }
        if (status->stx_nlink > 1 && links_.link(*status, copies_.descriptor(), name)) {
            return noteCopied(*status, name);
        }
        const auto made =
            copyUnopened({sources_.descriptor(), name}, *status, {copies_.descriptor(), name});
        if (!made) {
            return makingFailure(made.error());
        }
        if (status->stx_nlink > 1) {
            const auto copy = statusOfEntry(copies_.descriptor(), name);
            if (!copy) {
                return Unexpected(copy.error());
            }
            links_.remember(*status, *copy, pathFromTop(name));
        }
        return noteCopied(*status, name);
    }

    /// Records that an entry of the deepest directory is copied, so that a move may remove it.
    SystemResult<void> noteCopied(const struct statx& status, const std::string& name) {
        if (isMove_) {
            copied_.add(status, placeOf(name));
        }
        return {};
    }

    /// Returns the place of an entry of the deepest directory; of the item itself if there is none.
    TreePlace placeOf(const std::string& name) const {
        return levels_.empty() ? TreePlace::top : placeBelow(levels_.back().place, name);
    }

    /// Checks that the move may remove an item of the deepest directory later.
    SystemResult<void> checkRemovable(const struct statx& status) const {
        if (!isMove_) {
            return {};
        }
        const auto* directory = levels_.empty() ? nullptr : &levels_.back().status;
        return native::checkRemovable(status, directory, ::geteuid());
    }

    SystemResult<SourceFile> openFile(int directory, const std::string& name) const {
        auto file = FileCopier::open(directory, name);
        if (file) {
            if (const auto removable = checkRemovable(file->status); !removable) {
                return Unexpected(removable.error());
            }
        }
        return file;
    }

    SystemResult<void> copyFile(const std::string& name) {
        const auto source = openFile(sources_.descriptor(), name);
        if (!source) {
            return Unexpected(source.error());
        }
        const auto& status = source->status;
        if (status.stx_nlink > 1 && links_.link(status, copies_.descriptor(), name)) {
            return noteCopied(status, name);
        }
        // Writable by the owner, so that extended attributes can be set.
        const mode_t mode = isOwn(status) ? (status.stx_mode & ACCESSPERMS) | S_IWUSR
                                          : static_cast<mode_t>(S_IRUSR | S_IWUSR);
        const auto copy = opened(::openat(copies_.descriptor(), name.c_str(),
                                          O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, mode));
        if (!copy) {
            return makingFailure(copy.error());
        }
        auto filled = fill(*source, *copy, name);
        return filled && status.stx_nlink != 1 ? rememberLinked(status, *copy, name) : filled;
    }

    SystemResult<void> rememberLinked(const struct statx& status, const FileDescriptor& copy,
                                      const std::string& name) {
        const auto copyStatus = statusOf(copy.get());
        if (!copyStatus) {
            return Unexpected(copyStatus.error());
        }
        links_.remember(status, *copyStatus, pathFromTop(name));
        return {};
    }

    SystemResult<void> copyFileInto(int directory, const std::string& name,
                                    const FileDescriptor& copy) {
        const auto source = openFile(directory, name);
        if (!source) {
            return Unexpected(source.error());
        }
        return fill(*source, copy, name);
    }

    static bool isOwn(const struct statx& status) {
        return status.stx_uid == ::geteuid() && status.stx_gid == ::getegid();
    }

    SystemResult<void> fill(const SourceFile& source, const FileDescriptor& copy,
                            const std::string& name) {
        auto filled = files_.fill(source, copy);
        if (filled && isMove_) {
            filled = files_.check(source, copy);
        }
        return filled ? noteCopied(source.status, name) : filled;
    }

    /// Returns the path from the top of a file in the deepest directory.
    std::vector<std::string> pathFromTop(const std::string& name) const {
        std::vector<std::string> path;
        for (std::size_t depth = 1; depth < levels_.size(); ++depth) {
            path.push_back(levels_[depth].name);
        }
        path.push_back(name);
        return path;
    }

    /// Makes the directory `name` of the open directory `parent` the deepest level, to be copied
    /// into `copy`.
    SystemResult<void> enter(int parent, const std::string& name,
                             SystemResult<FileDescriptor> copy) {
        if (!copy) {
            return Unexpected(copy.error());
        }
        auto source = openDirectory(parent, name.c_str());
        if (!source) {
            return Unexpected(failedWith(source, ELOOP, ENOTDIR) ? changedMeanwhile
                                                                 : source.error());
        }
        auto level = examine(name, *source);
        if (!level) {
            return Unexpected(level.error());
        }
        const auto copyStatus = statusOf(copy->get());
        if (!copyStatus) {
            return Unexpected(copyStatus.error());
        }
        auto pushed = sources_.push(*std::move(source), fileIdOf(level->status));
        if (pushed) {
            pushed = copies_.push(*std::move(copy), fileIdOf(*copyStatus));
        }
        levels_.push_back(*std::move(level));
        return pushed;
    }

    /// Reads what must be known about a directory before its entries are copied.
    SystemResult<CopyLevel> examine(const std::string& name, const FileDescriptor& source) const {
        const auto status = statusOf(source.get());
        if (!status) {
            return Unexpected(status.error());
        }
        if (const auto removable = checkRemovable(*status); !removable) {
            return Unexpected(removable.error());
        }
        if (fileIdOf(*status) == topId_) { // It is copied into itself.
            return Unexpected(Errno(EINVAL));
        }
        auto entries = readEntries(source);
        if (!entries) {
            return Unexpected(entries.error());
        }
        if (isMove_ && !entries->empty()) {
            if (const auto allowed =
                    checked(::faccessat(source.get(), ".", W_OK | X_OK, AT_EACCESS));
                !allowed) {
                return Unexpected(allowed.error());
            }
        }
        return CopyLevel{name, placeOf(name), *status, *std::move(entries)};
    }

    /// Finishes the deepest directory, all of whose entries are copied, and returns to the one
    /// above.
    EntryResult<void> leave() {
        const CopyLevel& done = levels_.back();
        auto left = copyMetadata(sources_.descriptor(), done.status, copies_.descriptor());
        if (left) {
            left = sources_.reopenAbove();
        }
        if (left) {
            left = copies_.reopenAbove();
        }
        if (!left) {
            return aboutEntry(done.name, left);
        }
        if (isMove_) {
            copied_.add(done.status, done.place);
        }
        levels_.pop_back();
        sources_.pop();
        copies_.pop();
        return {};
    }

    int source_;
    const FileDescriptor& top_;
    bool isMove_;
    CopyFingerprints& copied_;
    FileId topId_;
    FileCopier files_;
    CopiedLinks links_{top_};
    std::vector<CopyLevel> levels_;
    DirectoryStack<FileDescriptor> sources_{openCopyLevels};
    DirectoryStack<FileDescriptor> copies_{openCopyLevels};
};

} // namespace

EntryResult<void> copyTree(int source, const std::string& name, const FileDescriptor& top,
                           CopyPurpose purpose, CopyFingerprints& copied) {
    return TreeCopy(source, top, purpose, copied).run(name);
}

} // namespace qf::native
