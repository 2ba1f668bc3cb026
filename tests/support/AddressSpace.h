#pragma once

#include <unistd.h>

#include <cstddef>
#include <fstream>

constexpr std::size_t mebibyte = std::size_t{1} << 20U;

/// Returns the size in bytes of the address space that the process uses.
inline std::size_t addressSpaceInUse() {
    std::size_t pages = 0;
    std::ifstream("/proc/self/statm") >> pages;
    return pages * static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
}

/// Sanitizers take tebibytes of address space, so that it cannot be limited.
inline bool isSanitized() {
    return addressSpaceInUse() > mebibyte * mebibyte;
}
