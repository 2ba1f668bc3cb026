#pragma once

#include <functional>

namespace platform {

/// Tells when the process is copied (POSIX: fork): the copy has everything in memory, but of the
/// threads only the one that copied. A system without such copies has nothing behind this port.
class ProcessCopies {
public:
    static constexpr const char* portName = "ProcessCopies";
    virtual ~ProcessCopies() = default;

    /// Has `before` called from now on before each copying, and then `inOriginal` and `inCopy`, all
    /// on the thread that copies. Any thread.
    virtual void observe(std::function<void()> before, std::function<void()> inOriginal,
                         std::function<void()> inCopy) = 0;
};

} // namespace platform
