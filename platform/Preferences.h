#pragma once

#include "platform/foundation/Value.h"

#include <string>

namespace qf {

/// The application's own preferences, kept on disk for the user. Any thread may call every member.
class Preferences {
public:
    static constexpr const char* portName = "Preferences";
    virtual ~Preferences() = default;

    /// Returns the value for a key; none if there is no value or the store cannot be read.
    virtual Value value(const std::string& key) = 0;

    /// Stores a value for a key, or removes the key if `value.isNone()`. Replaces the store
    /// on disk atomically; on failure, logs one line to the system log and leaves the store
    /// unchanged.
    virtual void setValue(const std::string& key, const Value& value) = 0;
};

} // namespace qf
