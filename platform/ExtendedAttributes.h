#pragma once

#include "platform/foundation/Result.h"

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

namespace qf {

/// Extended attributes: named values that the volume stores with an item. Links are followed. Names
/// are the program's own, without any prefix that the system adds. Any thread may call every
/// member.
class ExtendedAttributes {
public:
    static constexpr const char* portName = "ExtendedAttributes";
    virtual ~ExtendedAttributes() = default;

    /// Returns the length of an attribute's value in bytes. The code of an Error is the system's
    /// number.
    virtual Result<std::size_t> size(const std::string& path, const std::string& name) = 0;

    /// Reads a value into a buffer, which must not be empty, and returns its length. Fails, with
    /// the buffer unchanged, when the value is longer.
    virtual Result<std::size_t> read(const std::string& path, const std::string& name,
                                     std::span<std::byte> buffer) = 0;

    /// Sets an attribute, whether or not it exists already.
    virtual Result<void> set(const std::string& path, const std::string& name,
                             std::string_view value) = 0;
};

} // namespace qf
