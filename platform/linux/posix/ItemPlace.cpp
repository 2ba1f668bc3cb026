#include "platform/linux/posix/ItemPlace.h"

#include "platform/foundation/Path.h"
#include "platform/linux/posix/LongPath.h"

#include <fcntl.h>

#include <cerrno>
#include <utility>

namespace qf::native {

SystemResult<ItemPlace> findPlace(const std::string& path) {
    auto name = path::lastComponent(path);
    if (!path.starts_with('/') || path.find('\0') != std::string::npos || name == "/" ||
        name == "." || name == "..") {
        return Unexpected(Errno(EINVAL));
    }
    auto directory = openAtPath(path::deletingLastComponent(path), O_PATH | O_DIRECTORY);
    if (!directory) {
        return Unexpected(directory.error());
    }
    return ItemPlace{*std::move(directory), std::move(name)};
}

} // namespace qf::native
