#include "platform/linux/posix/Rename.h"

#include "platform/linux/posix/FileDescriptor.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

namespace platform::native {

namespace {

/// Renames over an empty item that has just been made to claim the name; `flags` is for unlinkat(),
/// depending on its kind. A directory can only replace an empty one.
SystemResult<void> renameOntoClaim(int source, const std::string& name, int destination,
                                   const std::string& newName, int flags) {
    auto renamed = checked(::renameat(source, name.c_str(), destination, newName.c_str()));
    if (!renamed) {
        ::unlinkat(destination, newName.c_str(), flags);
    }
    return renamed;
}

SystemResult<void> renameDirectory(int source, const std::string& name, int destination,
                                   const std::string& newName) {
    constexpr mode_t privateMode = 0700;
    auto claimed = checked(::mkdirat(destination, newName.c_str(), privateMode));
    return claimed ? renameOntoClaim(source, name, destination, newName, AT_REMOVEDIR) : claimed;
}

/// Removes the old name of an item that has been linked to the new one.
SystemResult<void> unlinkOldName(int source, const std::string& name, int destination,
                                 const std::string& newName) {
    auto unlinked = checked(::unlinkat(source, name.c_str(), 0));
    if (!unlinked) {
        ::unlinkat(destination, newName.c_str(), 0);
    }
    return unlinked;
}

SystemResult<void> renameOther(int source, const std::string& name, int destination,
                               const std::string& newName) {
    auto linked = checked(::linkat(source, name.c_str(), destination, newName.c_str(), 0));
    if (linked) {
        return unlinkOldName(source, name, destination, newName);
    }
    if (!failedWith(linked, EPERM, EOPNOTSUPP, EMLINK)) {
        return linked;
    }
    constexpr mode_t privateMode = 0600;
    const auto claim =
        opened(::openat(destination, newName.c_str(),
                        O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, privateMode));
    if (!claim) {
        return Unexpected(claim.error());
    }
    return renameOntoClaim(source, name, destination, newName, 0);
}

} // namespace

SystemResult<void> renameWithoutReplacing(int source, const std::string& name, int destination,
                                          const std::string& newName) {
    auto renamed =
        checked(::renameat2(source, name.c_str(), destination, newName.c_str(), RENAME_NOREPLACE));
    if (!failedWith(renamed, EINVAL, ENOSYS)) {
        return renamed;
    }
    struct stat status {};
    if (::fstatat(source, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
        return Unexpected(Errno::last());
    }
    return S_ISDIR(status.st_mode) ? renameDirectory(source, name, destination, newName)
                                   : renameOther(source, name, destination, newName);
}

} // namespace platform::native
