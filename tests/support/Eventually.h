#pragma once

#include <chrono>
#include <functional>
#include <thread>

/// Waits for a condition without a notification, such as the end of a process; the test fails if it
/// does not hold within a minute.
inline bool eventually(const std::function<bool()>& condition) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::minutes(1);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}
