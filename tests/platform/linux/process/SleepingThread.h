#pragma once

#include "platform/linux/posix/FileDescriptor.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <string>
#include <string_view>
#include <thread>

/// Returns when a thread of this process, known by its gettid(), sleeps or has ended: true when it
/// sleeps. Waits for a descriptor where the thread holds the last ones that the limit allows.
inline bool isAsleep(long thread) {
    const std::string path = "/proc/self/task/" + std::to_string(thread) + "/stat";
    for (;;) {
        const qf::native::FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
        if (!file && errno != EMFILE) {
            return false;
        }
        std::array<char, 256> text{};
        const auto length = file ? ::read(file.get(), text.data(), text.size()) : 0;
        if (length < 0) {
            return false;
        }
        if (std::string_view(text.data(), static_cast<std::size_t>(length)).find(") S ") !=
            std::string_view::npos) {
            return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}
