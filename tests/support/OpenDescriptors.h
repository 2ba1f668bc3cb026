#pragma once

#include <cstddef>
#include <filesystem>
#include <iterator>

/// Returns the number of descriptors that the process has open, plus one used for counting.
inline std::ptrdiff_t openDescriptors() {
    const std::filesystem::directory_iterator all("/proc/self/fd");
    return std::distance(begin(all), end(all));
}
