#include "platform/qt/Display.h"

#include <atomic>

namespace qf::qt {

namespace {

std::atomic<bool> isLost{false};

} // namespace

bool hasDisplay() {
    return !isLost.load(std::memory_order_relaxed);
}

void loseDisplay() {
    isLost.store(true, std::memory_order_relaxed);
}

} // namespace qf::qt
