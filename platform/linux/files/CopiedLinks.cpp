#include "platform/linux/files/CopiedLinks.h"

#include <fcntl.h>

#include <cstddef>
#include <utility>

namespace qf::native {

namespace {

/// Returns whether an item is as it was. Its identity alone does not tell: some volumes give the
/// number of an item that is no longer in use to another one.
bool isUnchanged(const struct statx& before, const struct statx& now) {
    return before.stx_mode == now.stx_mode && before.stx_size == now.stx_size &&
           before.stx_ctime.tv_sec == now.stx_ctime.tv_sec &&
           before.stx_ctime.tv_nsec == now.stx_ctime.tv_nsec;
}

} // namespace

void CopiedLinks::remember(const struct statx& source, const struct statx& copy,
                           std::vector<std::string> path) {
    items_.insert_or_assign(fileIdOf(source), CopiedItem{std::move(path), fileIdOf(copy), source});
}

bool CopiedLinks::link(const struct statx& source, int destination, const std::string& name) const {
    const auto found = items_.find(fileIdOf(source));
    if (found == items_.end() || !isUnchanged(found->second.source, source)) {
        return false;
    }
    const auto& path = found->second.path;
    auto directory = opened(::fcntl(top_.get(), F_DUPFD_CLOEXEC, 0));
    for (std::size_t depth = 0; directory && depth + 1 < path.size(); ++depth) {
        directory = openDirectory(directory->get(), path[depth].c_str());
    }
    if (!directory ||
        ::linkat(directory->get(), path.back().c_str(), destination, name.c_str(), 0) != 0) {
        return false;
    }
    const auto status = statusOfEntry(destination, name);
    if (status && fileIdOf(*status) == found->second.copy) {
        return true;
    }
    ::unlinkat(destination, name.c_str(), 0);
    return false;
}

} // namespace qf::native
