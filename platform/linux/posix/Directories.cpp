#include "platform/linux/posix/Directories.h"

#include "platform/foundation/Path.h"
#include "platform/linux/posix/LongPath.h"
#include "platform/linux/posix/SystemCall.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>

namespace platform::native {

namespace {

SystemResult<void> makeDirectory(const std::string& path, mode_t mode) {
    const auto made = atPath(
        path, [mode](int directory, const char* rest) { return ::mkdirat(directory, rest, mode); });
    return made ? SystemResult<void>() : Unexpected(made.error());
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

SystemResult<FileDescriptor> lockedDirectory(const std::string& path) {
    auto directory = opened(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (directory && retryOnEintr([&] { return ::flock(directory->get(), LOCK_EX); }) != 0) {
        return Unexpected(Errno::last());
    }
    return directory;
}

} // namespace platform::native
