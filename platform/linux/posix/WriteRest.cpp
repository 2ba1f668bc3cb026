#include "platform/linux/posix/WriteRest.h"

#include "platform/linux/posix/BlockSigxfsz.h"
#include "platform/linux/posix/SystemCall.h"

#include <unistd.h>

#include <cerrno>
#include <cstddef>

namespace qf::native {

SystemResult<void> writeRest(int file, std::string_view& rest) {
    blockSigxfsz();
    while (!rest.empty()) {
        const auto written = retryOnEintr([&] { return ::write(file, rest.data(), rest.size()); });
        if (written <= 0) {
            return Unexpected(written < 0 ? Errno::last() : Errno(ENOSPC));
        }
        rest.remove_prefix(static_cast<std::size_t>(written));
    }
    return {};
}

} // namespace qf::native
