#include "ProgressLine.h"

#include <iomanip>
#include <iostream>
#include <sstream>

void ProgressLine::report(std::uint64_t bytes) {
    const std::lock_guard lock(mutex_);
    if (hidden_ || ended_ || (shown_ && bytes <= done_)) {
        return;
    }
    done_ = bytes;
    shown_ = true;
    std::cerr << '\r' << text() << std::flush;
}

void ProgressLine::end() {
    const std::lock_guard lock(mutex_);
    if (shown_ && !ended_) {
        std::cerr << '\n';
    }
    ended_ = true;
}

std::string ProgressLine::text() const {
    constexpr double mebibyte = 1024.0 * 1024.0;
    constexpr double hundred = 100;
    constexpr long secondsOfMinute = 60;
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start_;
    const auto done = static_cast<double>(done_);
    const auto total = static_cast<double>(total_);
    const double rate = elapsed.count() > 0 ? done / elapsed.count() : 0;
    const auto left = rate > 0 && done_ < total_ ? static_cast<long>((total - done) / rate) : 0L;
    std::ostringstream line;
    line << std::fixed << std::setprecision(0) << std::setw(3)
         << (done_ < total_ ? done / total * hundred : hundred) << " %  " << std::setprecision(1)
         << std::setw(8) << rate / mebibyte << " MiB/s  " << left / secondsOfMinute << ':'
         << std::setw(2) << std::setfill('0') << left % secondsOfMinute << " left ";
    return line.str();
}
