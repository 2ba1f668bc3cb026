#pragma once

#include "platform/LogFiles.h"

#include <mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// A log file that only remembers the messages of its entries.
class RecordingLogFile : public qf::LogFile {
public:
    void append(std::string_view entry) override {
        entry.remove_prefix(entry.find(dateEnd) + dateEnd.size());
        entry.remove_suffix(1);
        const std::lock_guard lock(mutex_);
        messages_.emplace_back(entry);
    }
    bool hasName() override { return true; }
    bool isInPlace() override { return true; }

    std::vector<std::string> take() {
        const std::lock_guard lock(mutex_);
        return std::exchange(messages_, {});
    }

private:
    static constexpr std::string_view dateEnd = " - ";

    std::mutex mutex_;
    std::vector<std::string> messages_;
};
