#pragma once

#include <mutex>
#include <shared_mutex>
#include <string>

namespace qf::native {

/// The program's environment, which the C library does not protect from changes while it is read.
/// Changes made through these members wait while somebody holds the environment still. Any thread
/// may call them.
class Environment {
public:
    static void set(const std::string& name, const std::string& value);
    static void remove(const std::string& name);

    /// Blocks set() and remove() while the returned lock lives.
    [[nodiscard]] static std::shared_lock<std::shared_mutex> holdStill();
};

} // namespace qf::native
