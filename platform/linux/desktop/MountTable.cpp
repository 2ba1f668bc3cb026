#include "platform/linux/desktop/MountTable.h"

#include <fcntl.h>
#include <libmount/libmount.h>
#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <memory>
#include <utility>

namespace qf::native {

namespace {

constexpr const char* tableOfThisProcess = "/proc/self/mountinfo";

struct ReleaseMounts {
    void operator()(libmnt_table* table) const { mnt_unref_table(table); }
    void operator()(libmnt_iter* iterator) const { mnt_free_iter(iterator); }
};

SystemResult<std::vector<std::string>> readMountPoints() {
    const std::unique_ptr<libmnt_table, ReleaseMounts> table(mnt_new_table());
    const std::unique_ptr<libmnt_iter, ReleaseMounts> iterator(mnt_new_iter(MNT_ITER_FORWARD));
    if (!table || !iterator) {
        return Unexpected(Errno(ENOMEM));
    }
    if (const int read = mnt_table_parse_file(table.get(), tableOfThisProcess); read != 0) {
        return Unexpected(Errno(read < 0 ? -read : EIO));
    }
    std::vector<std::string> mountPoints;
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

SystemResult<bool> MountTable::hasMountIn(const std::string& path) {
    const std::lock_guard lock(mutex_);
    if (const auto updated = update(); !updated) {
        return Unexpected(updated.error());
    }
    if (std::binary_search(mountPoints_.begin(), mountPoints_.end(), path)) {
        return true;
    }
    const auto inside = path + '/';
    const auto first = std::lower_bound(mountPoints_.begin(), mountPoints_.end(), inside);
    return first != mountPoints_.end() && first->starts_with(inside);
}

SystemResult<bool> MountTable::hasMountOnLongPath() {
    const std::lock_guard lock(mutex_);
    if (const auto updated = update(); !updated) {
        return Unexpected(updated.error());
    }
    return std::any_of(mountPoints_.begin(), mountPoints_.end(),
                       [](const auto& mountPoint) { return mountPoint.size() >= PATH_MAX; });
}

/// Reads the table if it has changed. What was read before is not relied on once that has failed.
SystemResult<void> MountTable::update() {
    if (table_ && !hasChanged()) {
        return {};
    }
    table_ = FileDescriptor();
    auto table = opened(::open(tableOfThisProcess, O_RDONLY | O_CLOEXEC));
    auto mountPoints = table ? readMountPoints() : Unexpected(table.error());
    if (!mountPoints) {
        return Unexpected(mountPoints.error());
    }
    table_ = *std::move(table);
    mountPoints_ = *std::move(mountPoints);
    return {};
}

/// The kernel reports each change once to a descriptor that is open for reading the table.
bool MountTable::hasChanged() const {
    pollfd table{.fd = table_.get(), .events = POLLPRI, .revents = 0};
    return ::poll(&table, 1, 0) != 0;
}

} // namespace qf::native
