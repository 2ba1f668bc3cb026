#pragma once

#include <cerrno>

namespace qf::native {

/// Repeats a system call as long as a signal interrupts it.
template <typename Call>
auto retryOnEintr(Call call) {
    auto result = call();
    while (result == -1 && errno == EINTR) {
        result = call();
    }
    return result;
}

} // namespace qf::native
