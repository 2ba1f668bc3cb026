#pragma once

#include <chrono>
#include <cstdint>
#include <mutex>
#include <string>

/// One line on standard error that tells how far a copy is, how fast it goes and how long it will
/// take. Any thread may call every member.
class ProgressLine {
public:
    /// For so many bytes; the clock starts now. A line that is hidden is never shown.
    ProgressLine(std::uint64_t total, bool hidden) : total_(total), hidden_(hidden) {}

    /// So many bytes are done. Reports may come out of order and late: only the furthest counts.
    void report(std::uint64_t bytes);

    /// Leaves the line as it is; what is reported from now on is not shown.
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
