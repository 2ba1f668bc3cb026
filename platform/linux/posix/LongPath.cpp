#include "platform/linux/posix/LongPath.h"

#include <cerrno>
#include <cstddef>

namespace qf::native {

SystemResult<RestOfPath> walkTowards(const std::string& path, std::size_t limit) {
    if (path.find('\0') != std::string::npos) { // The system would take it for the end.
        return Unexpected(Errno(EINVAL));
    }
    RestOfPath way{{}, path.c_str()};
    std::size_t begin = 0;
    while (path.size() - begin >= limit) {
        const auto end = path.rfind('/', begin + limit - 1);
        if (end == std::string::npos || end <= begin) {
            break; // A single name is too long, which the call itself will report.
        }
        const auto piece = path.substr(begin, end - begin);
        auto directory =
            opened(::openat(way.directory(), piece.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
        if (!directory) {
            return Unexpected(directory.error());
        }
        way.start = *std::move(directory);
        begin = path.find_first_not_of('/', end);
        if (begin == std::string::npos) {
            way.rest = ".";
            return way;
        }
        way.rest = path.c_str() + begin;
    }
    return way;
}

SystemResult<FileDescriptor> openAtPath(const std::string& path, int flags) {
    auto descriptor = atPath(path, [flags](int directory, const char* rest) {
        return ::openat(directory, rest, flags | O_CLOEXEC);
    });
    if (!descriptor) {
        return Unexpected(descriptor.error());
    }
    return FileDescriptor(*descriptor);
}

} // namespace qf::native
