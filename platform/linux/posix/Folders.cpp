#include "platform/linux/posix/Folders.h"

#include "platform/foundation/Path.h"
#include "platform/linux/posix/SystemCall.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>

namespace platform::native {

bool isFolder(const std::string& path) {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

SystemResult<void> makeFolders(const std::string& path, mode_t mode) {
    auto made = checked(::mkdir(path.c_str(), mode));
    if (failedWith(made, ENOENT) && path != "/") {
        if (auto above = makeFolders(path::deletingLastComponent(path), mode); !above) {
            return above;
        }
        made = checked(::mkdir(path.c_str(), mode));
    }
    return !made && isFolder(path) ? SystemResult<void>() : made;
}

SystemResult<FileDescriptor> lockedFolder(const std::string& path) {
    auto folder = opened(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (folder && retryOnEintr([&] { return ::flock(folder->get(), LOCK_EX); }) != 0) {
        return Unexpected(Errno::last());
    }
    return folder;
}

} // namespace platform::native
