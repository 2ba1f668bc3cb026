#include "platform/linux/posix/Directories.h"

#include "platform/foundation/Path.h"
#include "platform/linux/posix/SystemCall.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>

namespace platform::native {

bool isDirectory(const std::string& path) {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

SystemResult<void> makeDirectories(const std::string& path, mode_t mode) {
    auto made = checked(::mkdir(path.c_str(), mode));
    if (failedWith(made, ENOENT) && path != "/") {
        if (auto above = makeDirectories(path::deletingLastComponent(path), mode); !above) {
            return above;
        }
        made = checked(::mkdir(path.c_str(), mode));
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
