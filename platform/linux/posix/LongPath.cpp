#include "platform/linux/posix/LongPath.h"

#include <climits>
#include <cstddef>

namespace platform::native {

const char* walkTowards(const std::string& path, FileDescriptor& start) {
    std::size_t begin = 0;
    while (path.size() - begin >= PATH_MAX) {
        const auto end = path.rfind('/', begin + PATH_MAX - 1);
        if (end == std::string::npos || end <= begin) {
            break; // One name alone is too long, as the call itself will say.
        }
        const auto piece = path.substr(begin, end - begin);
        start = FileDescriptor(::openat(start ? start.get() : AT_FDCWD, piece.c_str(),
                                        O_PATH | O_DIRECTORY | O_CLOEXEC));
        if (!start) {
            return nullptr;
        }
        begin = path.find_first_not_of('/', end);
        if (begin == std::string::npos) {
            return ".";
        }
    }
    return path.c_str() + begin;
}

} // namespace platform::native
