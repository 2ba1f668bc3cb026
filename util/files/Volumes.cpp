#include "util/files/QFFileManager.h"

#include "platform/foundation/Path.h"

#include <string_view>

namespace path = qf::path;

namespace {

/// Returns whether a path that begins with `prefix` is on a volume whose mount point exists. Any
/// other path is on the system's own volume.
bool isMounted(const std::string& path, std::string_view prefix) {
    if (!path.starts_with(prefix)) {
        return true;
    }
    const auto components = path::components(path);
    return components.size() < 3 ||
           QFFileManager::fileExistsAtPath(
               path::appending(path::appending(components[0], components[1]), components[2]));
}

} // namespace

// The prefixes differ on purpose: only the first also matches a directory such as "/VolumesX".
bool QFFileManager::isVolumeMountedForPath(const std::string& path) {
    return isMounted(path, "/Volumes");
}

bool QFFileManager::isDriveMountedForPath(const std::string& path) {
    return isMounted(path, "/Volumes/");
}
