#include "platform/linux/FileSystem.h"

#include "platform/foundation/Path.h"
#include "platform/linux/Directory.h"
#include "platform/linux/Errors.h"
#include "platform/linux/FileDescriptor.h"
#include "platform/linux/ToolOverlay.h"
#include "platform/linux/TreeRemoval.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace platform::native {

namespace {

/// Changes the immutable flag of a regular file or a folder. Gives 0, or the errno.
int changeImmutableFlag(const std::string& path, bool immutable) {
    const FileDescriptor item(
        ::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    int flags = 0;
    if (!item || ::ioctl(item.get(), FS_IOC_GETFLAGS, &flags) != 0) {
        return errno;
    }
    flags = immutable ? flags | FS_IMMUTABLE_FL : flags & ~FS_IMMUTABLE_FL;
    return ::ioctl(item.get(), FS_IOC_SETFLAGS, &flags) == 0 ? 0 : errno;
}

} // namespace

bool FileSystem::exists(const std::string& path) {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0;
}

bool FileSystem::isDirectory(const std::string& path) {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

bool FileSystem::isExecutable(const std::string& path) {
    return ::faccessat(AT_FDCWD, resolveTool(path).c_str(), X_OK, AT_EACCESS) == 0;
}

std::optional<std::vector<std::string>> FileSystem::contentsOfDirectory(const std::string& path) {
    Directory directory(
        FileDescriptor(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NONBLOCK | O_CLOEXEC)));
    if (!directory) {
        return std::nullopt;
    }
    std::vector<std::string> names;
    while (const auto entry = directory.next()) {
        names.push_back(entry->name);
    }
    return directory.error() == 0 ? std::optional(std::move(names)) : std::nullopt;
}

std::optional<Error> FileSystem::setImmutable(const std::string& path, bool immutable) {
    const auto failure = [&](int number) {
        return posixError(number, path::lastComponent(path), immutable ? "locked" : "unlocked");
    };
    struct statx status {};
    if (::statx(AT_FDCWD, path.c_str(), AT_SYMLINK_NOFOLLOW, STATX_TYPE, &status) != 0) {
        return failure(errno);
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
    const auto name = path::lastComponent(path);
    if (name.empty() || name == "/" || name == "." || name == "..") {
        return posixError(EINVAL, path, "removed");
    }
    const auto folder = path::deletingLastComponent(path);
    const FileDescriptor parent(::open(folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (!parent) {
        return posixError(errno, name, "removed");
    }
    return removeTree(parent.get(), name);
}

} // namespace platform::native
