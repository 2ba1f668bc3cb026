#include "platform/linux/files/FileSystem.h"

#include "platform/foundation/Path.h"
#include "platform/linux/files/CreationDate.h"
#include "platform/linux/files/ItemTransfer.h"
#include "platform/linux/files/TreeRemoval.h"
#include "platform/linux/files/WholeFiles.h"
#include "platform/linux/posix/Directory.h"
#include "platform/linux/posix/Errors.h"
#include "platform/linux/posix/FileDescriptor.h"
#include "platform/linux/posix/Folders.h"
#include "platform/linux/posix/ItemPlace.h"
#include "platform/linux/posix/LongPath.h"
#include "platform/linux/process/ToolOverlay.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>

namespace platform::native {

namespace {

/// Changes the immutable flag of a regular file or a folder. Gives 0, or the errno.
int changeImmutableFlag(const std::string& path, bool immutable) {
    constexpr int access = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
    const FileDescriptor item(
        atPath(path, [](int folder, const char* rest) { return ::openat(folder, rest, access); }));
    int flags = 0;
    if (!item || ::ioctl(item.get(), FS_IOC_GETFLAGS, &flags) != 0) {
        return errno;
    }
    flags = immutable ? flags | FS_IMMUTABLE_FL : flags & ~FS_IMMUTABLE_FL;
    return ::ioctl(item.get(), FS_IOC_SETFLAGS, &flags) == 0 ? 0 : errno;
}

/// The status of what stands at a path; links are followed. Nothing when there is none.
std::optional<struct stat> statusOfItem(const std::string& path) {
    struct stat status {};
    const int result = atPath(path, [&status](int folder, const char* rest) {
        return ::fstatat(folder, rest, &status, 0);
    });
    return result == 0 ? std::optional(status) : std::nullopt;
}

/// Asks for what `mask` says of what stands at a path; of a link, its own. Gives 0, or the errno.
int ownStatusOfItem(const std::string& path, unsigned mask, struct statx& status) {
    const int result = atPath(path, [&](int folder, const char* rest) {
        return ::statx(folder, rest, AT_SYMLINK_NOFOLLOW, mask, &status);
    });
    return result == 0 ? 0 : errno;
}

/// The size of a folder's entry, where it counts.
std::optional<std::uint64_t> sizeOf(int folder, const DirectoryEntry& entry) {
    struct stat status {};
    if (entry.kind == ItemKind::folder || ::fstatat(folder, entry.name.c_str(), &status,
                                                    AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT) != 0) {
        return std::nullopt;
    }
    return static_cast<std::uint64_t>(status.st_size);
}

template <class Size>
std::optional<std::vector<DirectoryEntry>> readFolder(const std::string& path, Size size) {
    constexpr int access = O_RDONLY | O_DIRECTORY | O_NONBLOCK | O_CLOEXEC;
    Directory directory(FileDescriptor(
        atPath(path, [](int folder, const char* rest) { return ::openat(folder, rest, access); })));
    if (!directory) {
        return std::nullopt;
    }
    std::vector<DirectoryEntry> entries;
    while (auto entry = directory.next()) {
        entry->size = size(directory.descriptor(), *entry);
        entries.push_back(std::move(*entry));
    }
    return directory.error() == 0 ? std::optional(std::move(entries)) : std::nullopt;
}

Date dateOf(const statx_timestamp& time) {
    return Date(std::chrono::duration_cast<Date::duration>(std::chrono::seconds(time.tv_sec) +
                                                           std::chrono::nanoseconds(time.tv_nsec)));
}

timespec timespecOf(Date date) {
    const auto sinceEpoch = date.time_since_epoch();
    const auto seconds = std::chrono::floor<std::chrono::seconds>(sinceEpoch);
    return {.tv_sec = seconds.count(),
            .tv_nsec = std::chrono::nanoseconds(sinceEpoch - seconds).count()};
}

std::optional<Error> failureOf(const std::optional<EntryFailure>& failure, const char* participle) {
    return failure ? std::optional(posixError(failure->number, failure->name, participle))
                   : std::nullopt;
}

std::optional<Error> errorUnlessZero(int number, const std::string& path, const char* participle) {
    return number == 0 ? std::nullopt
                       : std::optional(posixError(number, path::lastComponent(path), participle));
}

/// A copy, or a move, from path to path.
std::optional<Error> transfer(const std::string& path, const std::string& newPath,
                              std::optional<EntryFailure> (*work)(int, const std::string&, int,
                                                                  const std::string&),
                              const char* participle) {
    ItemPlace source;
    ItemPlace destination;
    int error = findPlace(path, source);
    if (error == 0) {
        error = findPlace(newPath, destination);
    }
    if (error != 0) {
        return posixError(error, path::lastComponent(path), participle);
    }
    const auto failure =
        work(source.folder.get(), source.name, destination.folder.get(), destination.name);
    if (failure && failure->number == EINVAL) {
        return posixError(EINVAL, failure->name, participle, "it can’t be put inside itself");
    }
    return failureOf(failure, participle);
}

} // namespace

bool FileSystem::exists(const std::string& path) {
    return statusOfItem(path).has_value();
}

bool FileSystem::isDirectory(const std::string& path) {
    const auto status = statusOfItem(path);
    return status && S_ISDIR(status->st_mode);
}

bool FileSystem::isExecutable(const std::string& path) {
    return ::faccessat(AT_FDCWD, resolveTool(path).c_str(), X_OK, AT_EACCESS) == 0;
}

bool FileSystem::isWritable(const std::string& path) {
    return atPath(path, [](int folder, const char* rest) {
               return ::faccessat(folder, rest, W_OK, AT_EACCESS);
           }) == 0;
}

std::optional<ItemIdentity> FileSystem::identityOfItem(const std::string& path) {
    const auto status = statusOfItem(path);
    return status ? std::optional(ItemIdentity{.volume = status->st_dev, .number = status->st_ino})
                  : std::nullopt;
}

std::optional<std::string> FileSystem::destinationOfSymbolicLink(const std::string& path) {
    std::array<char, PATH_MAX> target{};
    const ssize_t length = atPath(path, [&target](int folder, const char* rest) {
        return ::readlinkat(folder, rest, target.data(), target.size());
    });
    return length < 0 ? std::nullopt
                      : std::optional(std::string(target.data(), static_cast<std::size_t>(length)));
}

std::optional<ItemAttributes> FileSystem::attributesOfItem(const std::string& path) {
    struct statx status {};
    if (ownStatusOfItem(path, STATX_BASIC_STATS | STATX_BTIME, status) != 0) {
        return std::nullopt;
    }
    const auto kind = itemKind(status.stx_mode);
    auto creationDate = storedCreationDate(path, kind);
    if (!creationDate && (status.stx_mask & STATX_BTIME) != 0) {
        creationDate = dateOf(status.stx_btime);
    }
    return ItemAttributes{.kind = kind,
                          .size = status.stx_size,
                          .modificationDate = dateOf(status.stx_mtime),
                          .creationDate = creationDate,
                          .immutable = (status.stx_attributes_mask & status.stx_attributes &
                                        STATX_ATTR_IMMUTABLE) != 0};
}

std::optional<std::vector<DirectoryEntry>>
FileSystem::contentsOfDirectory(const std::string& path) {
    return readFolder(path, [](int /*folder*/, const DirectoryEntry& /*entry*/) {
        return std::optional<std::uint64_t>();
    });
}

std::optional<std::vector<DirectoryEntry>>
FileSystem::contentsOfDirectoryWithSizes(const std::string& path) {
    return readFolder(path, sizeOf);
}

std::optional<Error> FileSystem::createDirectory(const std::string& path) {
    constexpr mode_t everything = 0777;
    return errorUnlessZero(path.starts_with('/') ? makeFolders(path, everything) : EINVAL, path,
                           "created");
}

std::optional<Error> FileSystem::moveItem(const std::string& path, const std::string& newPath) {
    return transfer(path, newPath, native::moveItem, "moved");
}

std::optional<Error> FileSystem::copyItem(const std::string& path, const std::string& newPath) {
    return transfer(path, newPath, native::copyItem, "copied");
}

std::optional<Error> FileSystem::writeAtomically(const std::string& path,
                                                 std::string_view content) {
    return errorUnlessZero(path.starts_with('/') ? replaceFile(path, content) : EINVAL, path,
                           "saved");
}

std::optional<Error> FileSystem::setModificationDate(const std::string& path, Date date) {
    const std::array<timespec, 2> times{timespec{.tv_sec = 0, .tv_nsec = UTIME_OMIT},
                                        timespecOf(date)};
    const int result = atPath(path, [&times](int folder, const char* rest) {
        return ::utimensat(folder, rest, times.data(), 0);
    });
    return errorUnlessZero(result == 0 ? 0 : errno, path, "changed");
}

std::optional<Error> FileSystem::setCreationDate(const std::string& path, Date date) {
    return errorUnlessZero(storeCreationDate(path, date), path, "changed");
}

std::optional<Error> FileSystem::setPosixPermissions(const std::string& path,
                                                     unsigned permissions) {
    const int result = atPath(path, [permissions](int folder, const char* rest) {
        return ::fchmodat(folder, rest, permissions, 0);
    });
    return errorUnlessZero(result == 0 ? 0 : errno, path, "changed");
}

std::optional<Error> FileSystem::setImmutable(const std::string& path, bool immutable) {
    const auto failure = [&](int number) {
        return posixError(number, path::lastComponent(path), immutable ? "locked" : "unlocked");
    };
    struct statx status {};
    if (const int error = ownStatusOfItem(path, STATX_TYPE, status); error != 0) {
        return failure(error);
    }
    const bool canBeImmutable = (status.stx_attributes_mask & STATX_ATTR_IMMUTABLE) != 0;
    const bool isImmutable = canBeImmutable && (status.stx_attributes & STATX_ATTR_IMMUTABLE) != 0;
    if (immutable == isImmutable) {
        return std::nullopt;
    }
    if (!canBeImmutable || !(S_ISREG(status.stx_mode) || S_ISDIR(status.stx_mode))) {
        return failure(EOPNOTSUPP);
    }
    const int error = changeImmutableFlag(path, immutable);
    return error == 0 ? std::nullopt : std::optional(failure(error));
}

std::optional<Error> FileSystem::removeItem(const std::string& path) {
    ItemPlace place;
    const int error = findPlace(path, place);
    return error == 0 ? failureOf(removeTree(place.folder.get(), place.name), "removed")
                      : errorUnlessZero(error, path, "removed");
}

} // namespace platform::native
