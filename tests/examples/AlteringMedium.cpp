// Media that fail, for programs that preload this. Each variable names a file:
//
//     QF_ALTERED    one bit in each write is stored the other way round
//     QF_DECAYING   its first bit is stored the other way round once it is written through
//     QF_LOST       it cannot be written through

#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <string>
#include <string_view>

namespace {

/// Returns whether the variable names an open file.
bool names(const char* variable, int descriptor) {
    const char* name = std::getenv(variable);
    std::array<char, PATH_MAX> path{};
    const auto link = "/proc/self/fd/" + std::to_string(descriptor);
    const auto length = ::readlink(link.c_str(), path.data(), path.size());
    return name != nullptr && length > 0 &&
           std::string_view(path.data(), static_cast<std::size_t>(length)) == name;
}

} // namespace

extern "C" ssize_t write(int descriptor, const void* bytes, std::size_t count) {
    if (count == 0 || !names("QF_ALTERED", descriptor)) {
        return ::syscall(SYS_write, descriptor, bytes, count);
    }
    std::string stored(static_cast<const char*>(bytes), count);
    stored[count / 2] = static_cast<char>(stored[count / 2] ^ 1);
    return ::syscall(SYS_write, descriptor, stored.data(), count);
}

extern "C" int fdatasync(int descriptor) {
    if (names("QF_LOST", descriptor)) {
        errno = EIO;
        return -1;
    }
    char first = 0;
    if (names("QF_DECAYING", descriptor) && ::pread(descriptor, &first, 1, 0) == 1) {
        first = static_cast<char>(first ^ 1);
        static_cast<void>(::pwrite(descriptor, &first, 1, 0));
    }
    return static_cast<int>(::syscall(SYS_fdatasync, descriptor));
}
