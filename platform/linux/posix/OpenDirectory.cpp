#include "platform/linux/posix/OpenDirectory.h"

#include "platform/linux/posix/SystemCall.h"

#include <fcntl.h>
#include <sys/sysmacros.h>

#include <cerrno>

namespace qf::native {

FileId fileIdOf(const struct statx& status) {
    return {::makedev(status.stx_dev_major, status.stx_dev_minor), status.stx_ino};
}

FileId fileIdOf(const struct stat& status) {
    return {status.st_dev, status.st_ino};
}

SystemResult<FileDescriptor> openDirectory(int parent, const char* name) {
    return opened(retryOnEintr([&] {
        return ::openat(parent, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    }));
}

SystemResult<FileDescriptor> openDirectoryAbove(int directory, const FileId& expected) {
    auto above = openDirectory(directory, "..");
    if (!above) {
        return above;
    }
    const auto status = statusOf(above->get());
    if (!status) {
        return Unexpected(status.error());
    }
    if (fileIdOf(*status) != expected) {
        return Unexpected(Errno(ESTALE));
    }
    return above;
}

SystemResult<struct statx> statusOf(int item) {
    struct statx status {};
    if (::statx(item, "", AT_EMPTY_PATH, STATX_BASIC_STATS, &status) != 0) {
        return Unexpected(Errno::last());
    }
    return status;
}

SystemResult<struct statx> statusOfEntry(int directory, const std::string& name) {
    struct statx status {};
    if (::statx(directory, name.c_str(), AT_SYMLINK_NOFOLLOW, STATX_BASIC_STATS, &status) != 0) {
        return Unexpected(Errno::last());
    }
    return status;
}

} // namespace qf::native
