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

int makeFolders(const std::string& path, mode_t mode) {
    if (::mkdir(path.c_str(), mode) == 0) {
        return 0;
    }
    int error = errno;
    if (error == ENOENT && path != "/") {
        error = makeFolders(path::deletingLastComponent(path), mode);
        if (error != 0) {
            return error;
        }
        if (::mkdir(path.c_str(), mode) == 0) {
            return 0;
        }
        error = errno;
    }
    return isFolder(path) ? 0 : error;
}

FileDescriptor lockedFolder(const std::string& path) {
    FileDescriptor folder(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (folder && uninterrupted([&] { return ::flock(folder.get(), LOCK_EX); }) != 0) {
        folder.reset();
    }
    return folder;
}

} // namespace platform::native
