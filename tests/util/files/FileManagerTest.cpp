#include "tests/util/files/FileManagerTest.h"

#include "util/log/QFLog.h"

bool PumpingApplication::isMainThread() {
    return true;
}

void PumpingApplication::performOnMainThread(std::function<void()> /*work*/,
                                             platform::Wait /*wait*/) {
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

platform::Window* PumpingApplication::mainWindow() {
    return nullptr;
}

FileManagerTest::FileManagerTest() = default;

FileManagerTest::~FileManagerTest() {
    // The log asks for the time on a thread of its own.
    QFLog::finishWriting();
}

void FileManagerTest::becomeMainThread() {
    applicationScope_.emplace(application);
}

void FileManagerTest::refuseTheRight() {
    services.rightsStatus = platform::errAuthorizationCanceled;
}
