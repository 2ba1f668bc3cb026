#include "platform/linux/files/FileSystem.h"

#include "platform/foundation/Path.h"
#include "platform/foundation/Text.h"
#include "platform/linux/files/AtomicFile.h"
#include "platform/linux/files/CreationDate.h"
#include "platform/linux/files/ItemTransfer.h"
#include "platform/linux/files/TemporaryItem.h"
#include "platform/linux/files/TreeRemoval.h"
#include "platform/linux/posix/Directories.h"
#include "platform/linux/posix/DirectoryReader.h"
#include "platform/linux/posix/Errors.h"
#include "platform/linux/posix/FileDescriptor.h"
#include "platform/linux/posix/ItemPlace.h"
#include "platform/linux/posix/LongPath.h"
#include "platform/linux/posix/OpenDirectory.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <utility>

namespace qf::native {

namespace {

constexpr Unexpected pathNotAllowed{Errno(EINVAL)};

constexpr mode_t forEverybody = 0777; // less the umask

class DescriptorDirectory : public HeldDirectory {
public:
    explicit DescriptorDirectory(FileDescriptor directory) : directory_(std::move(directory)) {}

    std::string path() const override {
        return "/proc/self/fd/" + std::to_string(directory_.get());
    }

private:
    FileDescriptor directory_;
};

bool isAllowed(const std::string& path) {
    return path.starts_with('/') && path.find('\0') == std::string::npos;
}

/// Changes the immutable flag of a regular file or a directory.
SystemResult<void> changeImmutableFlag(const std::string& path, bool immutable) {
    const auto item = openAtPath(path, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY);
    if (!item) {
        return Unexpected(item.error());
    }
    int flags = 0;
    if (auto read = checked(::ioctl(item->get(), FS_IOC_GETFLAGS, &flags)); !read) {
        return read;
    }
    flags = immutable ? flags | FS_IMMUTABLE_FL : flags & ~FS_IMMUTABLE_FL;
    return checked(::ioctl(item->get(), FS_IOC_SETFLAGS, &flags));
}

/// Returns the status of the item at a path, or nullopt if there is none; links are followed.
std::optional<struct stat> statusOfItem(const std::string& path) {
    struct stat status {};
    const auto found = atPath(path, [&status](int directory, const char* rest) {
        return ::fstatat(directory, rest, &status, 0);
    });
    return found ? std::optional(status) : std::nullopt;
}

/// Returns the status fields in `mask` of the item at a path; for a link, its own.
SystemResult<struct statx> ownStatusOfItem(const std::string& path, unsigned mask) {
    struct statx status {};
    const auto found = atPath(path, [&](int directory, const char* rest) {
        return ::statx(directory, rest, AT_SYMLINK_NOFOLLOW, mask, &status);
    });
    if (!found) {
        return Unexpected(found.error());
    }
    return status;
}

/// Sets or clears the immutable flag if it differs.
SystemResult<void> makeImmutable(const std::string& path, bool immutable) {
    const auto status = ownStatusOfItem(path, STATX_TYPE);
    if (!status) {
        return Unexpected(status.error());
    }
    const bool canBeImmutable = (status->stx_attributes_mask & STATX_ATTR_IMMUTABLE) != 0;
    const bool isImmutable = canBeImmutable && (status->stx_attributes & STATX_ATTR_IMMUTABLE) != 0;
    if (immutable == isImmutable) {
        return {};
    }
    if (!canBeImmutable || !(S_ISREG(status->stx_mode) || S_ISDIR(status->stx_mode))) {
        return Unexpected(Errno(EOPNOTSUPP));
    }
    return changeImmutableFlag(path, immutable);
}

/// Returns the size of a directory's entry if it has one.
std::optional<std::uint64_t> sizeOf(int directory, const DirectoryEntry& entry) {
    struct stat status {};
    if (entry.kind == ItemKind::directory ||
        ::fstatat(directory, entry.name.c_str(), &status, AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT) !=
            0) {
        return std::nullopt;
    }
    return static_cast<std::uint64_t>(status.st_size);
}

template <class Size>
std::optional<std::vector<DirectoryEntry>> readDirectory(const std::string& path, Size size) {
    auto directory = openAtPath(path, O_RDONLY | O_DIRECTORY | O_NONBLOCK);
    if (!directory) {
        return std::nullopt;
    }
    auto reader = DirectoryReader::of(*std::move(directory));
    if (!reader) {
        return std::nullopt;
    }
    std::vector<DirectoryEntry> entries;
    for (;;) {
        auto entry = reader->next();
        if (!entry) {
            return std::nullopt;
        }
        if (!*entry) {
            return entries;
        }
        (*entry)->size = size(reader->descriptor(), **entry);
        entries.push_back(**std::move(entry));
    }
}

FileDate dateOf(const statx_timestamp& time) {
    return FileDate({.tv_sec = time.tv_sec, .tv_nsec = time.tv_nsec});
}

/// Returns the times for a system call that changes the modification date alone.
std::array<timespec, 2> timesWith(FileDate date) {
    return {timespec{.tv_sec = 0, .tv_nsec = UTIME_OMIT},
            timespec{.tv_sec = date.seconds, .tv_nsec = date.nanoseconds}};
}

/// Returns the outcome of system calls on the item at a path.
template <class T>
Result<void> report(const SystemResult<T>& result, const std::string& path, Participle participle) {
    if (!result) {
        return Unexpected(posixError(result.error(), path::lastComponent(path), participle));
    }
    return {};
}

/// Returns the outcome of work on a tree.
Result<void> report(const EntryResult<void>& result, Participle participle) {
    if (!result) {
        return Unexpected(posixError(result.error().number, result.error().name, participle));
    }
    return {};
}

constexpr auto notIntoItself = translatable("because", "it can’t be put inside itself");

/// Returns why nothing can be put into a directory that is missing.
std::string whyMissing(const std::string& directory) {
    return translated(translatable("because", "the folder “%1” doesn’t exist"),
                      text::printable(path::lastComponent(directory)));
}

/// Copies or moves an item from path to path.
Result<void> transfer(const std::string& path, const std::string& newPath,
                      EntryResult<void> (*work)(const EntryRef&, const EntryRef&),
                      Participle participle) {
    const auto source = findPlace(path);
    if (!source) {
        return report(source, path, participle);
    }
    const auto destination = findPlace(newPath);
    if (failedWith(destination, ENOENT)) {
        return Unexpected(posixError(Errno(ENOENT), path::lastComponent(path), participle,
                                     whyMissing(path::deletingLastComponent(newPath))));
    }
    if (!destination) {
        return report(destination, path, participle);
    }
    const auto done = work(source->entry(), destination->entry());
    if (!done && done.error().number.is(EINVAL)) {
        return Unexpected(
            posixError(Errno(EINVAL), done.error().name, participle, translated(notIntoItself)));
    }
    return report(done, participle);
}

} // namespace

bool FileSystem::exists(const std::string& path) {
    return statusOfItem(path).has_value();
}

bool FileSystem::isDirectory(const std::string& path) {
    const auto status = statusOfItem(path);
    return status && S_ISDIR(status->st_mode);
}

bool FileSystem::isWritable(const std::string& path) {
    return atPath(path,
                  [](int directory, const char* rest) {
                      return ::faccessat(directory, rest, W_OK, AT_EACCESS);
                  })
        .ok();
}

std::optional<FileId> FileSystem::fileIdOfItem(const std::string& path) {
    const auto status = statusOfItem(path);
    return status ? std::optional(fileIdOf(*status)) : std::nullopt;
}

std::optional<std::string> FileSystem::destinationOfSymbolicLink(const std::string& path) {
    std::array<char, PATH_MAX> target{};
    const auto length = atPath(path, [&target](int directory, const char* rest) {
        return ::readlinkat(directory, rest, target.data(), target.size());
    });
    return length ? std::optional(std::string(target.data(), static_cast<std::size_t>(*length)))
                  : std::nullopt;
}

std::optional<ItemAttributes> FileSystem::attributesOfItem(const std::string& path) {
    const auto status = ownStatusOfItem(path, STATX_BASIC_STATS | STATX_BTIME);
    if (!status) {
        return std::nullopt;
    }
    const auto kind = itemKind(status->stx_mode);
    std::optional<FileDate> creationDate = storedCreationDate(path, kind);
    if (!creationDate && (status->stx_mask & STATX_BTIME) != 0) {
        creationDate = dateOf(status->stx_btime);
    }
    return ItemAttributes{.kind = kind,
                          .size = status->stx_size,
                          .modificationDate = dateOf(status->stx_mtime),
                          .id = fileIdOf(*status),
                          .owner = status->stx_uid,
                          .group = status->stx_gid,
                          .permissions = status->stx_mode & 07777U,
                          .creationDate = creationDate,
                          .immutable = (status->stx_attributes_mask & status->stx_attributes &
                                        STATX_ATTR_IMMUTABLE) != 0};
}

std::optional<std::vector<DirectoryEntry>>
FileSystem::contentsOfDirectory(const std::string& path) {
    return readDirectory(path, [](int /*directory*/, const DirectoryEntry& /*entry*/) {
        return std::optional<std::uint64_t>();
    });
}

std::optional<std::vector<DirectoryEntry>>
FileSystem::contentsOfDirectoryWithSizes(const std::string& path) {
    return readDirectory(path, sizeOf);
}

Result<void> FileSystem::createDirectory(const std::string& path) {
    return report(isAllowed(path) ? makeDirectories(path, forEverybody) : pathNotAllowed, path,
                  participle::created);
}

Result<std::unique_ptr<HeldDirectory>>
FileSystem::holdDirectory(const std::string& path, const std::vector<std::string>& links,
                          MissingDirectories missing) {
    const auto mode =
        missing == MissingDirectories::create ? std::optional(forEverybody) : std::nullopt;
    auto directory = openThroughLinks(path, links, mode);
    if (!directory) {
        return Unexpected(
            posixError(directory.error(), path::lastComponent(path), participle::opened));
    }
    return std::make_unique<DescriptorDirectory>(*std::move(directory));
}

Result<void> FileSystem::moveItem(const std::string& path, const std::string& newPath) {
    return transfer(path, newPath, native::moveItem, participle::moved);
}

Result<void> FileSystem::copyItem(const std::string& path, const std::string& newPath) {
    return transfer(path, newPath, native::copyItem, participle::copied);
}

Result<void> FileSystem::writeAtomically(const std::string& path, std::string_view content) {
    return report(isAllowed(path) ? replaceFile(path, content) : pathNotAllowed, path,
                  participle::saved);
}

Result<void> FileSystem::writeAtomicallyWith(const std::string& path, std::string_view content,
                                             unsigned permissions,
                                             const std::optional<FileDate>& date) {
    const auto dress = [&](int file) {
        auto done = checked(::fchmod(file, permissions));
        return done && date ? checked(::futimens(file, timesWith(*date).data())) : done;
    };
    return report(isAllowed(path) ? replaceFile(path, content, dress) : pathNotAllowed, path,
                  participle::saved);
}

Result<void> FileSystem::setModificationDate(const std::string& path, FileDate date) {
    const auto times = timesWith(date);
    const auto changed = atPath(path, [&times](int directory, const char* rest) {
        return ::utimensat(directory, rest, times.data(), 0);
    });
    return report(changed, path, participle::changed);
}

Result<void> FileSystem::setCreationDate(const std::string& path, FileDate date) {
    return report(storeCreationDate(path, date), path, participle::changed);
}

Result<void> FileSystem::setPosixPermissions(const std::string& path, unsigned permissions) {
    const auto changed = atPath(path, [permissions](int directory, const char* rest) {
        return ::fchmodat(directory, rest, permissions, 0);
    });
    return report(changed, path, participle::changed);
}

Result<void> FileSystem::setImmutable(const std::string& path, bool immutable) {
    return report(makeImmutable(path, immutable), path,
                  immutable ? participle::locked : participle::unlocked);
}

void FileSystem::removeAbandonedCopies(const std::string& directory) {
    if (const auto opened = openAtPath(directory, O_PATH | O_DIRECTORY)) {
        TemporaryItem::removeAbandonedCopies(opened->get());
    }
}

Result<void> FileSystem::removeItem(const std::string& path) {
    const auto place = findPlace(path);
    return place ? report(removeTree(place->directory.get(), place->name), participle::removed)
                 : report(place, path, participle::removed);
}

} // namespace qf::native
