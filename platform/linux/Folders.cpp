#include "platform/linux/Folders.h"

#include "platform/foundation/Path.h"

#include <sys/stat.h>

#include <cerrno>

namespace platform::native {

int makeFolders(const std::string& path, mode_t mode) {
    std::string folder = "/";
    for (const auto& component : path::components(path)) {
        folder = path::appending(folder, component);
        struct stat status {};
        if (::stat(folder.c_str(), &status) == 0) {
            if (!S_ISDIR(status.st_mode)) {
                return ENOTDIR;
            }
        } else if (::mkdir(folder.c_str(), mode) != 0 && errno != EEXIST) {
            return errno;
        }
    }
    return 0;
}

} // namespace platform::native
