#pragma once

#include <cstdint>
#include <string>
#include <vector>

/// Property lists in binary form, made by hand.
namespace binary_lists {

inline const std::string trueObject = "\x09";

inline std::string bigEndian(std::uint64_t number, int width) {
    std::string bytes;
    for (int i = width - 1; i >= 0; --i) {
        bytes += static_cast<char>(number >> (8 * i) & 0xFF);
    }
    return bytes;
}

/// A list of these objects, the first of which is the root. References in them and offsets have
/// four bytes.
inline std::string listOf(const std::vector<std::string>& objects) {
    std::string bytes = "bplist00";
    std::string table;
    for (const auto& object : objects) {
        table += bigEndian(bytes.size(), 4);
        bytes += object;
    }
    const auto tableOffset = bytes.size();
    return bytes + table + std::string(6, '\0') + "\x04\x04" + bigEndian(objects.size(), 8) +
           bigEndian(0, 8) + bigEndian(tableOffset, 8);
}

inline std::string arrayOf(const std::vector<std::uint64_t>& references) {
    std::string bytes(1, static_cast<char>(0xA0 + references.size()));
    for (const auto reference : references) {
        bytes += bigEndian(reference, 4);
    }
    return bytes;
}

/// Arrays inside one another, each of which refers to the next `width` times.
inline std::string chainOf(std::size_t levels, std::size_t width) {
    std::vector<std::string> objects;
    for (std::size_t level = 0; level < levels; ++level) {
        objects.push_back(arrayOf(std::vector<std::uint64_t>(width, level + 1)));
    }
    objects.push_back(trueObject);
    return listOf(objects);
}

} // namespace binary_lists
