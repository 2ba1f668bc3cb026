#include "util/files/TimedWait.h"

#include "platform/Application.h"
#include "platform/Clock.h"
#include "platform/Services.h"
#include "util/files/QFFileManager.h"

#include <chrono>

namespace {

constexpr std::chrono::milliseconds pollInterval{10};
constexpr std::chrono::milliseconds pauseElsewhere{300};

/// In a program without an application every thread counts as a worker.
void pause() {
    auto* application = platform::installedService<platform::Application>();
    if (application != nullptr && application->isMainThread()) {
        application->handleNextEvent(pollInterval);
    } else {
        platform::sleep(pauseElsewhere);
    }
}

bool waitForExistence(const std::string& path, bool wanted, platform::Timeout timeout) {
    const auto start = platform::now();
    bool exists = QFFileManager::fileExistsAtPath(path);
    while (exists != wanted && platform::now() - start < timeout.wholeSeconds()) {
        pause();
        exists = QFFileManager::fileExistsAtPath(path);
    }
    return exists == wanted;
}

} // namespace

bool waitUntilGone(const std::string& path, platform::Timeout timeout) {
    return waitForExistence(path, false, timeout);
}

bool waitUntilThere(const std::string& path, platform::Timeout timeout) {
    return waitForExistence(path, true, timeout);
}
