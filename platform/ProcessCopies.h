#pragma once

#include <functional>

namespace qf {

/// Reports when the process is copied (POSIX: fork): the copy has all of the memory, but only the
/// thread that copied. A system without fork installs nothing for this port.
class ProcessCopies {
public:
    static constexpr const char* portName = "ProcessCopies";
    virtual ~ProcessCopies() = default;

    /// Registers `before` to be called before each copy, and `inOriginal` and `inCopy` after it,
    /// all on the thread that copies. Any thread.
    virtual void observe(std::function<void()> before, std::function<void()> inOriginal,
                         std::function<void()> inCopy) = 0;
};

} // namespace qf
