#pragma once

#include <chrono>
#include <cstdint>
#include <mutex>
#include <string>

/// One line on standard error that shows a copy's progress, speed and remaining time. Any thread
/// may call every member.
class ProgressLine {
public:
    /// Starts the clock for so many bytes. A hidden line is never shown.
    ProgressLine(std::uint64_t total, bool hidden) : total_(total), hidden_(hidden) {}

    /// Reports that so many bytes are done. Reports may arrive out of order and late: only the
    /// furthest counts.
    void report(std::uint64_t bytes);

    /// Leaves the line as it is; later reports are not shown.
    void end();

private:
    std::string text() const;

    const std::uint64_t total_;
    const bool hidden_;
    const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
    std::mutex mutex_;
    std::uint64_t done_ = 0;
    bool shown_ = false;
    bool ended_ = false;
};
