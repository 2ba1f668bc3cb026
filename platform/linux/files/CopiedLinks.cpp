#include "platform/linux/files/CopiedLinks.h"

#include <fcntl.h>

#include <cstddef>
#include <utility>

namespace platform::native {

SystemResult<void> CopiedLinks::remember(const FileId& source, const FileDescriptor& copy,
                                         std::vector<std::string> path) {
    const auto status = statusOf(copy.get());
    if (!status) {
        return Unexpected(status.error());
    }
    files_.emplace(source, CopiedFile{std::move(path), fileIdOf(*status)});
    return {};
}

bool CopiedLinks::link(const FileId& source, int destination, const std::string& name) const {
    const auto found = files_.find(source);
    if (found == files_.end()) {
        return false;
    }
    const auto& [path, copy] = found->second;
    auto directory = opened(::fcntl(top_.get(), F_DUPFD_CLOEXEC, 0));
    for (std::size_t depth = 0; directory && depth + 1 < path.size(); ++depth) {
        directory = openDirectory(directory->get(), path[depth].c_str());
    }
    if (!directory ||
        ::linkat(directory->get(), path.back().c_str(), destination, name.c_str(), 0) != 0) {
        return false;
    }
    const auto status = statusOfEntry(destination, name);
    if (status && fileIdOf(*status) == copy) {
        return true;
    }
    ::unlinkat(destination, name.c_str(), 0);
    return false;
}

} // namespace platform::native
