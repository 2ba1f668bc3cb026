#pragma once

#include <cstddef>
#include <string>

/// Returns bytes of every value, no two neighbouring chunks of which are alike.
inline std::string patternedText(std::size_t size) {
    std::string result(size, '\0');
    for (std::size_t index = 0; index < size; ++index) {
        result[index] = static_cast<char>(index * 31 + index / 251);
    }
    return result;
}
