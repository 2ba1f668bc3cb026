#pragma once

#include "platform/foundation/Result.h"

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

namespace platform {

/// Values under names of a program's own choice that the volume keeps beside an item. Links are
/// followed. A name is the program's, whatever the system puts before it. Any thread may call every
/// member.
class ExtendedAttributes {
public:
    static constexpr const char* portName = "ExtendedAttributes";
    virtual ~ExtendedAttributes() = default;

    /// How long the value of an attribute is, in bytes. An Error's code is the system's number.
    virtual Result<std::size_t> size(const std::string& path, const std::string& name) = 0;

    /// Reads a value into a buffer, which is not empty, and returns its length. It fails, and the
    /// buffer is as before, when the value is longer.
    virtual Result<std::size_t> read(const std::string& path, const std::string& name,
                                     std::span<std::byte> buffer) = 0;

    /// Sets an attribute, a new one or one that exists.
    virtual Result<void> set(const std::string& path, const std::string& name,
                             std::string_view value) = 0;
};

} // namespace platform
