#include "platform/linux/process/Environment.h"

#include <cstdlib>

namespace qf::native {

namespace {

/// Never destroyed: detached threads may still launch tools while the process ends.
std::shared_mutex& mutex() {
    static auto& only = *new std::shared_mutex;
    return only;
}

} // namespace

void Environment::set(const std::string& name, const std::string& value) {
    constexpr int overwrite = 1;
    const std::lock_guard lock(mutex());
    ::setenv(name.c_str(), value.c_str(), overwrite);
}

void Environment::remove(const std::string& name) {
    const std::lock_guard lock(mutex());
    ::unsetenv(name.c_str());
}

std::shared_lock<std::shared_mutex> Environment::holdStill() {
    return std::shared_lock(mutex());
}

} // namespace qf::native
