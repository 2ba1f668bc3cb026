#pragma once

#include "platform/foundation/Value.h"

#include <string>

namespace platform {

/// The application's own preferences, kept on disk for the user. Any thread may call every member.
class Preferences {
public:
    static constexpr const char* portName = "Preferences";
    virtual ~Preferences() = default;

    /// The value under a key; none when there is none or the store cannot be read.
    virtual Value value(const std::string& key) = 0;

    /// Stores a value under a key, or forgets the key when the value is none. The store on disk is
    /// replaced as a whole; when that fails, one line in the system log says so and the former
    /// store stays.
    virtual void setValue(const std::string& key, const Value& value) = 0;
};

} // namespace platform
