#pragma once

#include <cstddef>
#include <cstdint>
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

    /// What a call gave: a number of bytes or, with the system's error number, -1.
    struct Result {
        std::int64_t length = -1; ///< The number of bytes, or -1.
        int error = 0;            ///< The system's error number.
    };

    /// How long the value of an attribute is.
    virtual Result size(const std::string& path, const std::string& name) = 0;

    /// Reads a value into a buffer, which is not empty. It fails, and the buffer is as before, when
    /// the value is longer.
    virtual Result read(const std::string& path, const std::string& name,
                        std::span<std::byte> buffer) = 0;

    /// Sets an attribute, a new one or one that there is; a success has the length 0.
    [[nodiscard]] virtual Result set(const std::string& path, const std::string& name,
                                     std::string_view value) = 0;
};

} // namespace platform
