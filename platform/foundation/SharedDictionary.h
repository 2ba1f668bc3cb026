#pragma once

#include "platform/foundation/Value.h"

#include <mutex>
#include <string>
#include <utility>

namespace qf {

/// A dictionary that several owners read and change at the same time. Values are copied in and out,
/// so that none changes while it is read. Any thread may call every member.
class SharedDictionary {
public:
    /// Returns a copy of the value for a key; none if the key does not exist.
    Value operator[](const std::string& key) const {
        const std::lock_guard lock(mutex_);
        const auto entry = content_.find(key);
        return entry == content_.end() ? Value() : entry->second;
    }

    /// Sets the value for a key. The former value is destroyed after the lock is released.
    void set(const std::string& key, Value value) {
        const std::lock_guard lock(mutex_);
        std::swap(content_[key], value);
    }

    /// Returns a consistent copy of all keys and values.
    Value::Dictionary snapshot() const {
        const std::lock_guard lock(mutex_);
        return content_;
    }

private:
    mutable std::mutex mutex_;
    Value::Dictionary content_;
};

} // namespace qf
