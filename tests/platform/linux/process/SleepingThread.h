#pragma once

#include <unistd.h>

#include <chrono>
#include <fstream>
#include <string>
#include <thread>

/// Returns when a thread of this process, known by its gettid(), sleeps or has ended: true when it
/// sleeps.
inline bool isAsleep(long thread) {
    for (;;) {
        std::string status;
        std::getline(std::ifstream("/proc/self/task/" + std::to_string(thread) + "/stat"), status);
        if (status.empty() || status.find(") S ") != std::string::npos) {
            return !status.empty();
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}
