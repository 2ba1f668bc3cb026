#pragma once

#include <cstddef>
#include <span>
#include <string_view>

inline std::span<const std::byte> bytesOf(std::string_view text) {
    return std::as_bytes(std::span(text.data(), text.size()));
}
