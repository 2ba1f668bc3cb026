#include "platform/linux/posix/OpenFolder.h"

#include "platform/linux/posix/SystemCall.h"

#include <fcntl.h>

#include <cerrno>

namespace platform::native {

Identity identityOf(const struct statx& status) {
    return {status.stx_dev_major, status.stx_dev_minor, status.stx_ino};
}

FileDescriptor openFolder(int parent, const char* name) {
    return FileDescriptor(uninterrupted([&] {
        return ::openat(parent, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    }));
}

FileDescriptor openFolderAbove(int folder, const Identity& expected) {
    auto above = openFolder(folder, "..");
    struct statx status {};
    if (!above) {
        return above;
    }
    int error = statusOf(above.get(), status);
    if (error == 0 && identityOf(status) != expected) {
        error = ESTALE;
    }
    if (error != 0) {
        above.reset();
        errno = error;
    }
    return above;
}

int statusOf(int item, struct statx& status) {
    return ::statx(item, "", AT_EMPTY_PATH, STATX_BASIC_STATS, &status) == 0 ? 0 : errno;
}

int statusOfEntry(int folder, const std::string& name, struct statx& status) {
    return ::statx(folder, name.c_str(), AT_SYMLINK_NOFOLLOW, STATX_BASIC_STATS, &status) == 0
               ? 0
               : errno;
}

} // namespace platform::native
