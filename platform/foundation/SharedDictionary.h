#pragma once

#include "platform/foundation/Value.h"

#include <mutex>
#include <string>
#include <utility>

namespace platform {

/// A dictionary that several owners read and change at the same time. Values go in and out as
/// copies, so that none changes under its reader. Any thread may call every member.
class SharedDictionary {
public:
    /// The value under a key; none when there is no such key.
    Value operator[](const std::string& key) const {
        const std::lock_guard lock(mutex_);
        const auto entry = content_.find(key);
        return entry == content_.end() ? Value() : entry->second;
    }

    /// Puts a value under a key, in the place of what was there, which is given up when others may
    /// use the dictionary again.
    void set(const std::string& key, Value value) {
        const std::lock_guard lock(mutex_);
        std::swap(content_[key], value);
    }

    /// All keys and values of one moment.
    Value::Dictionary snapshot() const {
        const std::lock_guard lock(mutex_);
        return content_;
    }

private:
    mutable std::mutex mutex_;
    Value::Dictionary content_;
};

} // namespace platform
