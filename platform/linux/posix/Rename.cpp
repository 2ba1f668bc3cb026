#include "platform/linux/posix/Rename.h"

#include "platform/linux/posix/FileDescriptor.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

namespace platform::native {

namespace {

/// A rename over an empty item that has just been made to claim the name: `flags` tells unlinkat()
/// what it is. A folder takes the place of an empty one alone.
int renameOntoClaim(int source, const std::string& name, int destination,
                    const std::string& newName, int flags) {
    if (::renameat(source, name.c_str(), destination, newName.c_str()) == 0) {
        return 0;
    }
    const int error = errno;
    ::unlinkat(destination, newName.c_str(), flags);
    return error;
}

int renameFolder(int source, const std::string& name, int destination, const std::string& newName) {
    constexpr mode_t privateMode = 0700;
    return ::mkdirat(destination, newName.c_str(), privateMode) == 0
               ? renameOntoClaim(source, name, destination, newName, AT_REMOVEDIR)
               : errno;
}

int renameOther(int source, const std::string& name, int destination, const std::string& newName) {
    if (::linkat(source, name.c_str(), destination, newName.c_str(), 0) == 0) {
        if (::unlinkat(source, name.c_str(), 0) == 0) {
            return 0;
        }
        const int error = errno;
        ::unlinkat(destination, newName.c_str(), 0);
        return error;
    }
    if (errno != EPERM && errno != EOPNOTSUPP && errno != EMLINK) {
        return errno;
    }
    constexpr mode_t privateMode = 0600;
    const FileDescriptor claim(::openat(destination, newName.c_str(),
                                        O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                                        privateMode));
    return claim ? renameOntoClaim(source, name, destination, newName, 0) : errno;
}

} // namespace

int renameWithoutReplacing(int source, const std::string& name, int destination,
                           const std::string& newName) {
    if (::renameat2(source, name.c_str(), destination, newName.c_str(), RENAME_NOREPLACE) == 0) {
        return 0;
    }
    if (errno != EINVAL && errno != ENOSYS) {
        return errno;
    }
    struct stat status {};
    if (::fstatat(source, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
        return errno;
    }
    return S_ISDIR(status.st_mode) ? renameFolder(source, name, destination, newName)
                                   : renameOther(source, name, destination, newName);
}

} // namespace platform::native
