#pragma once

#include "platform/Preferences.h"

#include <map>
#include <mutex>
#include <string>

/// Preferences that are kept only in memory.
class MemoryPreferences : public qf::Preferences {
public:
    qf::Value value(const std::string& key) override {
        const std::lock_guard lock(mutex_);
        const auto found = values_.find(key);
        return found == values_.end() ? qf::Value() : found->second;
    }
    void setValue(const std::string& key, const qf::Value& value) override {
        const std::lock_guard lock(mutex_);
        values_[key] = value;
    }

private:
    std::mutex mutex_;
    std::map<std::string, qf::Value> values_;
};
