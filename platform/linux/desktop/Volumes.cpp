#include "platform/linux/desktop/Volumes.h"

#include "platform/linux/posix/Directories.h"

#include <libmount/libmount.h>

#include <algorithm>
#include <array>
#include <memory>
#include <string_view>

namespace qf::native {

namespace {

struct ReleaseTable {
    void operator()(libmnt_table* table) const { mnt_unref_table(table); }
};
struct FreeIterator {
    void operator()(libmnt_iter* iterator) const { mnt_free_iter(iterator); }
};

/// Types that have no device but hold users' files all the same.
constexpr std::array<std::string_view, 4> withoutDevice{"overlay", "ramfs", "rootfs", "tmpfs"};

std::string textOf(const char* text) {
    return text == nullptr ? std::string() : std::string(text);
}

bool isLocal(libmnt_fs* mount, std::string_view type) {
    return mnt_fs_is_netfs(mount) == 0 && mnt_fs_is_swaparea(mount) == 0 &&
           (mnt_fs_is_pseudofs(mount) == 0 ||
            std::find(withoutDevice.begin(), withoutDevice.end(), type) != withoutDevice.end());
}

} // namespace

std::vector<Volume> mountedLocalVolumes() {
    const std::unique_ptr<libmnt_table, ReleaseTable> table(mnt_new_table());
    const std::unique_ptr<libmnt_iter, FreeIterator> iterator(mnt_new_iter(MNT_ITER_FORWARD));
    std::vector<Volume> volumes;
    if (!table || !iterator || mnt_table_parse_file(table.get(), "/proc/self/mountinfo") != 0) {
        return volumes;
    }
    libmnt_fs* mount = nullptr;
    while (mnt_table_next_fs(table.get(), iterator.get(), &mount) == 0) {
        Volume volume{.mountPoint = textOf(mnt_fs_get_target(mount)),
                      .source = textOf(mnt_fs_get_source(mount)),
                      .type = textOf(mnt_fs_get_fstype(mount)),
                      .device = mnt_fs_get_devno(mount)};
        // An earlier mount at the same place is hidden.
        const auto hidden =
            std::find_if(volumes.begin(), volumes.end(), [&](const Volume& earlier) {
                return earlier.mountPoint == volume.mountPoint;
            });
        const bool counts = isLocal(mount, volume.type) && isDirectory(volume.mountPoint);
        if (hidden != volumes.end() && counts) {
            *hidden = std::move(volume);
        } else if (hidden != volumes.end()) {
            volumes.erase(hidden);
        } else if (counts) {
            volumes.push_back(std::move(volume));
        }
    }
    return volumes;
}

} // namespace qf::native
