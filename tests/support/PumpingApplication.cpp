#include "tests/support/PumpingApplication.h"

bool PumpingApplication::isMainThread() {
    return true;
}

void PumpingApplication::performOnMainThread(std::function<void()> /*work*/, qf::Wait /*wait*/) {
}

void PumpingApplication::handleNextEvent(std::chrono::milliseconds deadline) {
    deadlines.push_back(deadline);
    clock_.pass(deadline);
    clock_.meanwhile();
}

void PumpingApplication::terminate() {
}

int PumpingApplication::addTerminationObserver(std::function<void()> /*observer*/) {
    return 0;
}

void PumpingApplication::removeTerminationObserver(int /*observer*/) {
}

qf::Window* PumpingApplication::mainWindow() {
    return nullptr;
}
