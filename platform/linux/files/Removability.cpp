#include "platform/linux/files/Removability.h"

#include <cerrno>

namespace qf::native {

bool isKeptByDirectory(const struct statx& item, const struct statx& directory, uid_t user) {
    return (directory.stx_mode & S_ISVTX) != 0 && user != 0 && user != item.stx_uid &&
           user != directory.stx_uid;
}

SystemResult<void> checkRemovable(const struct statx& item, const struct statx* directory,
                                  uid_t user) {
    const auto locks = item.stx_attributes_mask & item.stx_attributes;
    if ((locks & (STATX_ATTR_IMMUTABLE | STATX_ATTR_APPEND)) != 0) {
        return Unexpected(Errno(EPERM));
    }
    if ((item.stx_attributes & STATX_ATTR_MOUNT_ROOT) != 0) {
        return Unexpected(Errno(EBUSY));
    }
    if (directory != nullptr && isKeptByDirectory(item, *directory, user)) {
        return Unexpected(Errno(EPERM));
    }
    return {};
}

} // namespace qf::native
