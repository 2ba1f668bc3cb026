#include "platform/linux/posix/ItemPlace.h"

#include "platform/foundation/Path.h"
#include "platform/linux/posix/LongPath.h"

#include <fcntl.h>

#include <cerrno>

namespace platform::native {

int findPlace(const std::string& path, ItemPlace& place) {
    place.name = path::lastComponent(path);
    if (!path.starts_with('/') || place.name == "/" || place.name == "." || place.name == "..") {
        return EINVAL;
    }
    const auto folder = path::deletingLastComponent(path);
    place.folder = FileDescriptor(atPath(folder, [](int start, const char* rest) {
        return ::openat(start, rest, O_PATH | O_DIRECTORY | O_CLOEXEC);
    }));
    return place.folder ? 0 : errno;
}

} // namespace platform::native
