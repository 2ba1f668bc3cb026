#include "platform/linux/files/Metadata.h"

#include "platform/linux/files/CopyPair.h"
#include "platform/linux/posix/Errors.h"

#include <fcntl.h>
#include <linux/limits.h>
#include <sys/statvfs.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <string>
#include <string_view>
#include <vector>

namespace qf::native {

namespace {

constexpr mode_t permissionBits = 07777;

constexpr const char* accessList = "system.posix_acl_access";

/// Returns whether a failure means that the volume does not support the operation, or that the user
/// may not do it.
bool isBeyondReach(const SystemResult<void>& result) {
    return failedWith(result, EPERM, EACCES, EOPNOTSUPP, ENOSYS, EINVAL);
}

/// Turns such a failure into a success.
SystemResult<void> asFarAsPossible(const SystemResult<void>& result) {
    return isBeyondReach(result) ? SystemResult<void>() : result;
}

std::array<timespec, 2> timesOf(const struct statx& status) {
    const auto time = [](const statx_timestamp& stamp) {
        return timespec{.tv_sec = stamp.tv_sec, .tv_nsec = static_cast<long>(stamp.tv_nsec)};
    };
    return {time(status.stx_atime), time(status.stx_mtime)};
}

/// Returns the mode that a copy of this status may have: set-user-ID and set-group-ID bits are kept
/// for the same owner and group only.
mode_t permittedMode(const struct statx& status, const struct stat& copy) {
    mode_t mode = status.stx_mode & permissionBits;
    if (copy.st_uid != status.stx_uid) {
        mode &= ~static_cast<mode_t>(S_ISUID);
    }
    if (copy.st_gid != status.stx_gid) {
        mode &= ~static_cast<mode_t>(S_ISGID);
    }
    return mode;
}

/// Returns whether the volume of an open item has room for any attribute. ENOSPC then means that
/// its format does not.
bool hasRoom(int item) {
    struct statvfs volume {};
    if (::fstatvfs(item, &volume) != 0) {
        return false;
    }
    const bool countsFiles = volume.f_files > 0;
    return (!countsFiles || volume.f_favail > 0) &&
           volume.f_bavail * volume.f_frsize > XATTR_SIZE_MAX;
}

/// Copies one extended attribute. Fails only for the user's own ones, or if the volume has no
/// space.
SystemResult<void> keepAttribute(const CopyPair& items, const char* name) {
    std::array<char, XATTR_SIZE_MAX> value; // NOLINT: filled before it is read.
    const auto size = ::fgetxattr(items.source, name, value.data(), value.size());
    auto kept = checked(size);
    if (kept) {
        kept =
            checked(::fsetxattr(items.copy, name, value.data(), static_cast<std::size_t>(size), 0));
        if (failedWith(kept, ENOSPC) && hasRoom(items.copy)) {
            kept = Unexpected(attributesTooLarge);
        }
    }
    if (failedWith(kept, EOPNOTSUPP, ENODATA)) {
        return {};
    }
    const bool isUsers = std::string_view(name).starts_with("user.");
    return isUsers ? kept : asFarAsPossible(kept);
}

SystemResult<void> keepExtendedAttributes(const CopyPair& items) {
    std::array<char, 1024> fewNames{};
    std::vector<char> manyNames;
    char* names = fewNames.data();
    auto size = ::flistxattr(items.source, names, fewNames.size());
    if (size < 0 && errno == ERANGE) {
        manyNames.resize(XATTR_LIST_MAX);
        names = manyNames.data();
        size = ::flistxattr(items.source, names, manyNames.size());
    }
    if (auto listed = checked(size); !listed) {
        return failedWith(listed, EOPNOTSUPP) ? SystemResult<void>() : listed;
    }
    const std::string_view list(names, static_cast<std::size_t>(size));
    for (std::size_t begin = 0; begin < list.size(); begin = list.find('\0', begin) + 1) {
        if (auto kept = keepAttribute(items, list.data() + begin); !kept) {
            return kept;
        }
    }
    return {};
}

/// Sets the owner and group of a copy, or its group alone.
SystemResult<void> keepOwner(const struct statx& status, int copy) {
    if (::fchown(copy, status.stx_uid, status.stx_gid) == 0) {
        return {};
    }
    return asFarAsPossible(checked(::fchown(copy, static_cast<uid_t>(-1), status.stx_gid)));
}

/// Like keepOwner(), for an entry of an open directory.
SystemResult<void> keepOwnerOfEntry(const struct statx& status, const EntryRef& entry) {
    const auto setOwner = [&](uid_t owner) {
        return checked(::fchownat(entry.directory, entry.name.c_str(), owner, status.stx_gid,
                                  AT_SYMLINK_NOFOLLOW));
    };
    auto set = setOwner(status.stx_uid);
    return set ? set : asFarAsPossible(setOwner(static_cast<uid_t>(-1)));
}

SystemResult<void> keepModeOfEntry(const struct statx& status, const EntryRef& entry) {
    struct stat current {};
    if (auto found =
            checked(::fstatat(entry.directory, entry.name.c_str(), &current, AT_SYMLINK_NOFOLLOW));
        !found) {
        return found;
    }
    const mode_t mode = permittedMode(status, current);
    return asFarAsPossible(
        checked(::fchmodat(entry.directory, entry.name.c_str(), mode, AT_SYMLINK_NOFOLLOW)));
}

} // namespace

SystemResult<void> copyMetadata(int source, const struct statx& status, int copy) {
    struct stat current {};
    if (auto found = checked(::fstat(copy, &current)); !found) {
        return found;
    }
    const bool isForeign = current.st_uid != status.stx_uid || current.st_gid != status.stx_gid;
    if (isForeign) {
        if (auto kept = keepOwner(status, copy); !kept) {
            return kept;
        }
    }
    if (auto kept = keepExtendedAttributes({.source = source, .copy = copy}); !kept) {
        return kept;
    }
    if (isForeign) {
        if (auto found = checked(::fstat(copy, &current)); !found) {
            return found;
        }
    }
    const mode_t mode = permittedMode(status, current);
    if (mode != (current.st_mode & permissionBits)) {
        if (auto kept = asFarAsPossible(checked(::fchmod(copy, mode))); !kept) {
            return kept;
        }
    }
    return asFarAsPossible(checked(::futimens(copy, timesOf(status).data())));
}

SystemResult<void> copyMetadataToEntry(const struct statx& status, const EntryRef& entry) {
    if (auto kept = keepOwnerOfEntry(status, entry); !kept) {
        return kept;
    }
    // A link has no mode, and fchmodat() would follow it.
    if (!S_ISLNK(status.stx_mode)) {
        if (auto kept = keepModeOfEntry(status, entry); !kept) {
            return kept;
        }
    }
    const auto times = timesOf(status);
    return asFarAsPossible(checked(
        ::utimensat(entry.directory, entry.name.c_str(), times.data(), AT_SYMLINK_NOFOLLOW)));
}

void copyAccessListToEntry(const EntryRef& source, const EntryRef& copy) {
    const auto pathOf = [](const EntryRef& entry) {
        return "/proc/self/fd/" + std::to_string(entry.directory) + '/' + entry.name;
    };
    const auto copyPath = pathOf(copy);
    std::array<char, XATTR_SIZE_MAX> list; // NOLINT: filled before it is read.
    const auto size = ::lgetxattr(pathOf(source).c_str(), accessList, list.data(), list.size());
    if (size < 0) {
        ::lremovexattr(copyPath.c_str(), accessList);
    } else {
        ::lsetxattr(copyPath.c_str(), accessList, list.data(), static_cast<std::size_t>(size), 0);
    }
}

void dropInheritedAcls(int item) {
    ::fremovexattr(item, "system.posix_acl_default");
    ::fremovexattr(item, accessList);
}

} // namespace qf::native
