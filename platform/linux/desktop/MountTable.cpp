#include "platform/linux/desktop/MountTable.h"

#include <fcntl.h>
#include <libmount/libmount.h>
#include <poll.h>

#include <algorithm>
#include <memory>

namespace platform::native {

namespace {

constexpr const char* tableOfThisProcess = "/proc/self/mountinfo";

struct ReleaseMounts {
    void operator()(libmnt_table* table) const { mnt_unref_table(table); }
    void operator()(libmnt_iter* iterator) const { mnt_free_iter(iterator); }
};

std::vector<std::string> readMountPoints() {
    const std::unique_ptr<libmnt_table, ReleaseMounts> table(mnt_new_table());
    const std::unique_ptr<libmnt_iter, ReleaseMounts> iterator(mnt_new_iter(MNT_ITER_FORWARD));
    std::vector<std::string> mountPoints;
    if (!table || !iterator || mnt_table_parse_file(table.get(), tableOfThisProcess) != 0) {
        return mountPoints;
    }
    libmnt_fs* mount = nullptr;
    while (mnt_table_next_fs(table.get(), iterator.get(), &mount) == 0) {
        if (const char* target = mnt_fs_get_target(mount)) {
            mountPoints.emplace_back(target);
        }
    }
    std::sort(mountPoints.begin(), mountPoints.end());
    return mountPoints;
}

} // namespace

bool MountTable::hasMountIn(const std::string& path) {
    const std::lock_guard lock(mutex_);
    if (!table_) {
        table_ = FileDescriptor(::open(tableOfThisProcess, O_RDONLY | O_CLOEXEC));
        mountPoints_ = readMountPoints();
    } else if (hasChanged()) {
        mountPoints_ = readMountPoints();
    }
    if (std::binary_search(mountPoints_.begin(), mountPoints_.end(), path)) {
        return true;
    }
    const auto inside = path + '/';
    const auto first = std::lower_bound(mountPoints_.begin(), mountPoints_.end(), inside);
    return first != mountPoints_.end() && first->starts_with(inside);
}

/// The kernel reports each change once to a descriptor that is open for reading the table.
bool MountTable::hasChanged() const {
    pollfd table{.fd = table_.get(), .events = POLLPRI, .revents = 0};
    return ::poll(&table, 1, 0) != 0;
}

} // namespace platform::native
