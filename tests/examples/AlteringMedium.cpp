// A medium that alters data, for programs that preload this: of the file that the variable
// QF_ALTERED names, one bit in each write is stored the other way round.

#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <climits>
#include <cstdlib>
#include <string>
#include <string_view>

namespace {

bool isAltered(int descriptor) {
    const char* altered = std::getenv("QF_ALTERED");
    std::array<char, PATH_MAX> path{};
    const auto link = "/proc/self/fd/" + std::to_string(descriptor);
    const auto length = ::readlink(link.c_str(), path.data(), path.size());
    return altered != nullptr && length > 0 &&
           std::string_view(path.data(), static_cast<std::size_t>(length)) == altered;
}

} // namespace

extern "C" ssize_t write(int descriptor, const void* bytes, std::size_t count) {
    if (count == 0 || !isAltered(descriptor)) {
        return ::syscall(SYS_write, descriptor, bytes, count);
    }
    std::string stored(static_cast<const char*>(bytes), count);
    stored[count / 2] = static_cast<char>(stored[count / 2] ^ 1);
    return ::syscall(SYS_write, descriptor, stored.data(), count);
}
