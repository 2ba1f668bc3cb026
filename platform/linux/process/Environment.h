#pragma once

#include <mutex>
#include <shared_mutex>
#include <string>

namespace platform::native {

/// The program's environment, which the C library lets be changed while somebody reads it. These
/// members wait for whoever holds it still. Any thread may call them.
class Environment {
public:
    static void set(const std::string& name, const std::string& value);
    static void remove(const std::string& name);

    /// Keeps set() and remove() waiting for as long as what it returns lives.
    [[nodiscard]] static std::shared_lock<std::shared_mutex> holdStill();
};

} // namespace platform::native
