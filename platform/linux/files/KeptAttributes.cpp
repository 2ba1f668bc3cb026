#include "platform/linux/files/KeptAttributes.h"

#include <fcntl.h>
#include <linux/limits.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <string_view>
#include <vector>

namespace platform::native {

namespace {

constexpr mode_t permissionBits = 07777;

/// Whether a failure says that there is no such thing on this volume, or for this user.
bool isBeyondReach(int error) {
    return error == EPERM || error == EACCES || error == EOPNOTSUPP || error == ENOSYS ||
           error == EINVAL;
}

std::array<timespec, 2> timesOf(const struct statx& status) {
    const auto time = [](const statx_timestamp& stamp) {
        return timespec{.tv_sec = stamp.tv_sec, .tv_nsec = static_cast<long>(stamp.tv_nsec)};
    };
    return {time(status.stx_atime), time(status.stx_mtime)};
}

/// The mode that a copy of this owner and group may have: what runs as its owner does so for the
/// same owner only.
mode_t permittedMode(const struct statx& status, uid_t owner, gid_t group) {
    mode_t mode = status.stx_mode & permissionBits;
    if (owner != status.stx_uid) {
        mode &= ~static_cast<mode_t>(S_ISUID);
    }
    if (group != status.stx_gid) {
        mode &= ~static_cast<mode_t>(S_ISGID);
    }
    return mode;
}

/// Copies one extended attribute. Only the user's own ones, and a volume that has no room, can make
/// that fail.
int keepAttribute(int source, int copy, const char* name) {
    std::array<char, XATTR_SIZE_MAX> value; // NOLINT: it is filled before it is read.
    const auto size = ::fgetxattr(source, name, value.data(), value.size());
    if (size >= 0 &&
        ::fsetxattr(copy, name, value.data(), static_cast<std::size_t>(size), 0) == 0) {
        return 0;
    }
    const bool isUsers = std::string_view(name).starts_with("user.");
    const bool isMissing = errno == EOPNOTSUPP || errno == ENODATA;
    return isMissing || (!isUsers && isBeyondReach(errno)) ? 0 : errno;
}

int keepExtendedAttributes(int source, int copy) {
    std::array<char, 1024> fewNames{};
    std::vector<char> manyNames;
    char* names = fewNames.data();
    auto size = ::flistxattr(source, names, fewNames.size());
    if (size < 0 && errno == ERANGE) {
        manyNames.resize(XATTR_LIST_MAX);
        names = manyNames.data();
        size = ::flistxattr(source, names, manyNames.size());
    }
    if (size < 0) {
        return errno == EOPNOTSUPP ? 0 : errno;
    }
    const std::string_view list(names, static_cast<std::size_t>(size));
    for (std::size_t begin = 0; begin < list.size(); begin = list.find('\0', begin) + 1) {
        if (const int error = keepAttribute(source, copy, list.data() + begin); error != 0) {
            return error;
        }
    }
    return 0;
}

} // namespace

int keepAttributes(int source, const struct statx& status, int copy) {
    struct stat current {};
    if (::fstat(copy, &current) != 0) {
        return errno;
    }
    const bool isForeign = current.st_uid != status.stx_uid || current.st_gid != status.stx_gid;
    if (isForeign && ::fchown(copy, status.stx_uid, status.stx_gid) != 0 &&
        ::fchown(copy, static_cast<uid_t>(-1), status.stx_gid) != 0 && !isBeyondReach(errno)) {
        return errno;
    }
    if (const int error = keepExtendedAttributes(source, copy); error != 0) {
        return error;
    }
    if (isForeign && ::fstat(copy, &current) != 0) {
        return errno;
    }
    const mode_t mode = permittedMode(status, current.st_uid, current.st_gid);
    if (mode != (current.st_mode & permissionBits) && ::fchmod(copy, mode) != 0 &&
        !isBeyondReach(errno)) {
        return errno;
    }
    return ::futimens(copy, timesOf(status).data()) == 0 || isBeyondReach(errno) ? 0 : errno;
}

int keepAttributesOfEntry(const struct statx& status, int folder, const std::string& name) {
    const char* entry = name.c_str();
    const auto give = [&](uid_t owner) {
        return ::fchownat(folder, entry, owner, status.stx_gid, AT_SYMLINK_NOFOLLOW) == 0;
    };
    if (!give(status.stx_uid) && !give(static_cast<uid_t>(-1)) && !isBeyondReach(errno)) {
        return errno;
    }
    // A link has no mode, and fchmodat() follows it.
    if (!S_ISLNK(status.stx_mode)) {
        struct stat current {};
        if (::fstatat(folder, entry, &current, AT_SYMLINK_NOFOLLOW) != 0) {
            return errno;
        }
        const mode_t mode = permittedMode(status, current.st_uid, current.st_gid);
        if (::fchmodat(folder, entry, mode, AT_SYMLINK_NOFOLLOW) != 0 && !isBeyondReach(errno)) {
            return errno;
        }
    }
    const auto times = timesOf(status);
    return ::utimensat(folder, entry, times.data(), AT_SYMLINK_NOFOLLOW) == 0 ||
                   isBeyondReach(errno)
               ? 0
               : errno;
}

void dropInheritedLists(int item) {
    ::fremovexattr(item, "system.posix_acl_default");
    ::fremovexattr(item, "system.posix_acl_access");
}

} // namespace platform::native
