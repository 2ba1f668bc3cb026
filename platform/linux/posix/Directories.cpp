#include "platform/linux/posix/Directories.h"

#include "platform/foundation/Path.h"
#include "platform/linux/posix/LongPath.h"
#include "platform/linux/posix/SystemCall.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <utility>

namespace qf::native {

namespace {

SystemResult<void> makeDirectory(const std::string& path, mode_t mode) {
    const auto made = atPath(
        path, [mode](int directory, const char* rest) { return ::mkdirat(directory, rest, mode); });
    return made ? SystemResult<void>() : Unexpected(made.error());
}

SystemResult<FileDescriptor> openBelow(int directory, const std::string& name, bool followsLink,
                                       std::optional<mode_t> mode) {
    const int flags = O_PATH | O_DIRECTORY | O_CLOEXEC | (followsLink ? 0 : O_NOFOLLOW);
    auto below = opened(::openat(directory, name.c_str(), flags));
    if (!mode || !failedWith(below, ENOENT)) {
        return below;
    }
    // Another process may have created it just now.
    const auto made = checked(::mkdirat(directory, name.c_str(), *mode));
    return made || failedWith(made, EEXIST) ? opened(::openat(directory, name.c_str(), flags))
                                            : Unexpected(made.error());
}

} // namespace

bool isDirectory(const std::string& path) {
    struct stat status {};
    const auto found = atPath(path, [&status](int directory, const char* rest) {
        return ::fstatat(directory, rest, &status, 0);
    });
    return found && S_ISDIR(status.st_mode);
}

SystemResult<void> makeDirectories(const std::string& path, mode_t mode) {
    auto made = makeDirectory(path, mode);
    if (failedWith(made, ENOENT) && path != "/") {
        if (auto above = makeDirectories(path::deletingLastComponent(path), mode); !above) {
            return above;
        }
        made = makeDirectory(path, mode);
    }
    return !made && isDirectory(path) ? SystemResult<void>() : made;
}

SystemResult<FileDescriptor> openThroughLinks(const std::string& path,
                                              const std::vector<std::string>& links,
                                              std::optional<mode_t> mode) {
    if (!path.starts_with('/') || path.find('\0') != std::string::npos) {
        return Unexpected(Errno(EINVAL));
    }
    auto directory = opened(::open("/", O_PATH | O_DIRECTORY | O_CLOEXEC));
    std::string way;
    for (const auto& component : path::components(path)) {
        way = path::appending(way, component);
        const bool isKnownLink = std::ranges::find(links, way) != links.end();
        directory = directory ? openBelow(directory->get(), component, isKnownLink, mode)
                              : std::move(directory);
    }
    return directory;
}

SystemResult<FileDescriptor> lockedDirectory(const std::string& path) {
    auto directory = opened(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (directory && retryOnEintr([&] { return ::flock(directory->get(), LOCK_EX); }) != 0) {
        return Unexpected(Errno::last());
    }
    return directory;
}

} // namespace qf::native
