#include "platform/foundation/ServiceSlot.h"

#include <map>
#include <mutex>
#include <string>

namespace qf {

std::atomic<void*>& serviceSlot(const char* portName) {
    // Never destroyed: detached threads may look services up until the process has ended.
    static auto& mutex = *new std::mutex;
    static auto& slots = *new std::map<std::string, std::atomic<void*>>;
    const std::lock_guard lock(mutex);
    return slots[portName];
}

} // namespace qf
