#include "platform/linux/files/LogFiles.h"

#include "platform/foundation/Exception.h"
#include "platform/foundation/Path.h"
#include "platform/linux/files/TemporaryItem.h"
#include "platform/linux/files/TreeRemoval.h"
#include "platform/linux/posix/DirectoryLock.h"
#include "platform/linux/posix/Errors.h"
#include "platform/linux/posix/FileDescriptor.h"
#include "platform/linux/posix/OpenDirectory.h"
#include "platform/linux/posix/SystemCall.h"
#include "platform/linux/posix/WriteRest.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace qf::native {

namespace {

/// Returns the outcome of system calls on the item at a path.
Result<void> reportOf(const SystemResult<void>& result, const std::string& path,
                      Participle participle) {
    return posixResult(result, path::lastComponent(path), participle);
}

/// The system reads a path only up to a zero byte, which would be another path.
bool isUsable(const std::string& path) {
    return !path.empty() && path.find('\0') == std::string::npos;
}

constexpr Unexpected notUsable{Errno(EINVAL)};

class AppendedFile : public LogFile {
public:
    AppendedFile(FileDescriptor descriptor, const FileId& identity, std::string path)
        : descriptor_(std::move(descriptor)), identity_(identity), path_(std::move(path)) {}

    void append(std::string_view entry) override {
        if (lineIsTorn_) {
            write("\n");
        }
        lineIsTorn_ = false;
        write(entry);
    }

    bool hasName() override {
        struct stat own {};
        return ::fstat(descriptor_.get(), &own) != 0 || own.st_nlink > 0;
    }

    bool isInPlace() override {
        struct stat there {};
        return ::stat(path_.c_str(), &there) == 0 && fileIdOf(there) == identity_;
    }

private:
    /// Throws if not all bytes are written; a part leaves a line without an end.
    void write(std::string_view bytes) {
        const auto size = bytes.size();
        if (const auto written = writeRest(descriptor_.get(), bytes); !written) {
            lineIsTorn_ = lineIsTorn_ || bytes.size() < size;
            throw Exception(exception_name::fileHandleOperation,
                            failureSentence(path::lastComponent(path_), participle::writtenTo,
                                            reason(written.error())));
        }
    }

    FileDescriptor descriptor_;
    FileId identity_;
    std::string path_;
    bool lineIsTorn_ = false;
};

bool isOwn(const struct stat& item) {
    return item.st_uid == ::geteuid() || item.st_uid == 0;
}

/// Returns whether only the current user and the superuser can have put an item into the directory
/// at the path.
bool isPrivateDirectoryOf(const std::string& path) {
    struct stat directory {};
    return ::stat(path::deletingLastComponent(path).c_str(), &directory) == 0 && isOwn(directory) &&
           (directory.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

/// Returns the path that the user's own links lead to, or nullopt if another user may have made one
/// of them or they form a loop.
std::optional<std::string> behindOwnLinks(std::string path) {
    constexpr int mostLinks = 40;
    for (int count = 0; count < mostLinks; ++count) {
        struct stat item {};
        if (::lstat(path.c_str(), &item) != 0 || !S_ISLNK(item.st_mode)) {
            return path;
        }
        std::error_code error;
        const auto target = std::filesystem::read_symlink(path, error);
        if (error || !isOwn(item) || !isPrivateDirectoryOf(path)) {
            return std::nullopt;
        }
        path = std::filesystem::path(path).parent_path() / target;
    }
    return std::nullopt;
}

/// Returns whether only the current user and the superuser can have put this file at its path. One
/// with a second name may be any file of theirs that others linked to the path.
bool isTrusted(const struct stat& file, const std::string& path) {
    return S_ISREG(file.st_mode) && isOwn(file) &&
           (file.st_nlink == 1 || isPrivateDirectoryOf(path));
}

/// Replaces the item at the path by an empty file. The file need not survive a crash of the
/// machine, as its entries do not.
SystemResult<void> putEmptyFile(const std::string& path) {
    const auto directoryPath = path::deletingLastComponent(path);
    const auto directory =
        opened(::open(directoryPath.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!directory) {
        return Unexpected(directory.error());
    }
    auto file = TemporaryItem::make(directory->get(), path::lastComponent(path), S_IFREG | 0644);
    if (!file) {
        return Unexpected(file.error());
    }
    return file->replace();
}

SystemResult<void> removeDirectory(const std::string& path) {
    const auto parentPath = path::deletingLastComponent(path);
    const auto parent = opened(::open(parentPath.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!parent) {
        return Unexpected(parent.error());
    }
    if (const auto removed = removeTree(parent->get(), path::lastComponent(path)); !removed) {
        return Unexpected(removed.error().number);
    }
    return {};
}

SystemResult<void> createDirectories(const std::string& path) {
    std::error_code error;
    std::filesystem::create_directories(path, error);
    if (error) {
        return Unexpected(Errno(error.value()));
    }
    return {};
}

SystemResult<void> removeAt(const std::string& path) {
    auto removed = checked(std::remove(path.c_str()));
    return failedWith(removed, ENOTEMPTY, EEXIST) ? removeDirectory(path) : removed;
}

SystemResult<void> moveTo(const std::string& path, const std::string& newPath) {
    auto moved =
        checked(::renameat2(AT_FDCWD, path.c_str(), AT_FDCWD, newPath.c_str(), RENAME_NOREPLACE));
    if (!failedWith(moved, EINVAL, ENOSYS)) {
        return moved;
    }
    // The file system has no such rename.
    struct stat there {};
    if (::lstat(newPath.c_str(), &there) == 0) {
        return Unexpected(Errno(EEXIST));
    }
    return checked(::rename(path.c_str(), newPath.c_str()));
}

/// The locks on several directories, taken in the same order by everybody to avoid deadlock.
class DirectoryLocks : public LogLock {
public:
    /// Returns false if `patience` runs out before all are acquired.
    bool lock(std::vector<std::string> paths, std::chrono::steady_clock::duration patience) {
        std::ranges::sort(paths);
        paths.erase(std::unique(paths.begin(), paths.end()), paths.end());
        const auto end = std::chrono::steady_clock::now() + patience;
        return std::ranges::all_of(paths, [&](const std::string& path) {
            return directories_.emplace_back(path).lockUntil(end);
        });
    }

private:
    std::vector<DirectoryLock> directories_;
};

} // namespace

bool LogFiles::exists(const std::string& path) {
    return isUsable(path) && ::access(path.c_str(), F_OK) == 0;
}

Result<void> LogFiles::createDirectory(const std::string& path) {
    return reportOf(isUsable(path) ? createDirectories(path) : notUsable, path,
                    participle::created);
}

Result<void> LogFiles::removeLog(const std::string& path) {
    return reportOf(isUsable(path) ? removeAt(path) : notUsable, path, participle::deleted);
}

Result<void> LogFiles::renameLog(const std::string& path, const std::string& newPath) {
    const bool areUsable = isUsable(path) && isUsable(newPath);
    return reportOf(areUsable ? moveTo(path, newPath) : notUsable, path, participle::moved);
}

Result<void> LogFiles::setAside(const std::string& path, const std::string& newPath) {
    if (isUsable(path) && isUsable(newPath) && ::link(path.c_str(), newPath.c_str()) == 0) {
        return {};
    }
    return renameLog(path, newPath);
}

Result<void> LogFiles::createEmptyFile(const std::string& path) {
    const SystemResult<void> made = isUsable(path) ? putEmptyFile(path) : notUsable;
    if (failedWith(made, ENOENT)) {
        return Unexpected(
            posixError(made.error(), path::lastComponent(path), participle::created,
                       translated(translatable("because", "its folder doesn’t exist"))));
    }
    return reportOf(made, path, participle::created);
}

std::shared_ptr<LogFile> LogFiles::open(const std::string& path) {
    const auto target = isUsable(path) ? behindOwnLinks(path) : std::nullopt;
    if (!target) {
        return nullptr;
    }
    // Without O_NONBLOCK, opening a planted pipe would block until somebody reads from it.
    FileDescriptor descriptor(::open(target->c_str(), O_WRONLY | O_APPEND | O_NOFOLLOW |
                                                          O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    struct stat information {};
    if (!descriptor || ::fstat(descriptor.get(), &information) != 0 ||
        !isTrusted(information, *target)) {
        return nullptr;
    }
    return std::make_shared<AppendedFile>(std::move(descriptor), fileIdOf(information), path);
}

std::unique_ptr<LogLock> LogFiles::lock(const std::vector<std::string>& directories) {
    constexpr std::chrono::seconds patience(5);
    auto locks = std::make_unique<DirectoryLocks>();
    if (!locks->lock(directories, patience)) {
        return nullptr;
    }
    return locks;
}

} // namespace qf::native
