#include "platform/linux/posix/Rename.h"

#include "platform/linux/posix/FileDescriptor.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

namespace qf::native {

namespace {

/// Renames over an empty item that has just been made to claim the name; `flags` is for unlinkat(),
/// depending on its kind. A directory can only replace an empty one.
SystemResult<void> renameOntoClaim(const EntryRef& source, const EntryRef& destination, int flags) {
    auto renamed = checked(::renameat(source.directory, source.name.c_str(), destination.directory,
                                      destination.name.c_str()));
    if (!renamed) {
        ::unlinkat(destination.directory, destination.name.c_str(), flags);
    }
    return renamed;
}

SystemResult<void> renameDirectory(const EntryRef& source, const EntryRef& destination) {
    constexpr mode_t privateMode = 0700;
    auto claimed = checked(::mkdirat(destination.directory, destination.name.c_str(), privateMode));
    return claimed ? renameOntoClaim(source, destination, AT_REMOVEDIR) : claimed;
}

/// Removes the old name of an item that has been linked to the new one.
SystemResult<void> unlinkOldName(const EntryRef& source, const EntryRef& destination) {
    auto unlinked = checked(::unlinkat(source.directory, source.name.c_str(), 0));
    if (!unlinked) {
        ::unlinkat(destination.directory, destination.name.c_str(), 0);
    }
    return unlinked;
}

SystemResult<void> renameOther(const EntryRef& source, const EntryRef& destination) {
    auto linked = checked(::linkat(source.directory, source.name.c_str(), destination.directory,
                                   destination.name.c_str(), 0));
    if (linked) {
        return unlinkOldName(source, destination);
    }
    if (!failedWith(linked, EPERM, EOPNOTSUPP, EMLINK)) {
        return linked;
    }
    constexpr mode_t privateMode = 0600;
    const auto claim =
        opened(::openat(destination.directory, destination.name.c_str(),
                        O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, privateMode));
    if (!claim) {
        return Unexpected(claim.error());
    }
    return renameOntoClaim(source, destination, 0);
}

} // namespace

SystemResult<void> renameWithoutReplacing(const EntryRef& source, const EntryRef& destination) {
    auto renamed = checked(::renameat2(source.directory, source.name.c_str(), destination.directory,
                                       destination.name.c_str(), RENAME_NOREPLACE));
    if (!failedWith(renamed, EINVAL, ENOSYS)) {
        return renamed;
    }
    struct stat status {};
    if (::fstatat(source.directory, source.name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
        return Unexpected(Errno::last());
    }
    return S_ISDIR(status.st_mode) ? renameDirectory(source, destination)
                                   : renameOther(source, destination);
}

} // namespace qf::native
