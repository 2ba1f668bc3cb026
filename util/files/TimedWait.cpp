#include "util/files/TimedWait.h"

#include "platform/Application.h"
#include "platform/Clock.h"
#include "platform/Services.h"
#include "platform/foundation/Format.h"
#include "util/files/Failures.h"
#include "util/files/QFFileManager.h"

#include <chrono>
#include <string_view>

namespace qf {

namespace {

constexpr std::string_view itemIsStillThere = "%@ still exists after the time-out.";
constexpr std::string_view itemIsNotYetThere = "%@ does not exist yet after the time-out.";

constexpr std::chrono::milliseconds pollInterval{10};
constexpr std::chrono::milliseconds pauseElsewhere{300};

/// In a program without an application every thread counts as a worker.
void pause() {
    auto* application = installedService<Application>();
    if (application != nullptr && application->isMainThread()) {
        application->handleNextEvent(pollInterval);
    } else {
        sleep(pauseElsewhere);
    }
}

bool waitForExistence(const std::string& path, bool wanted, Timeout timeout) {
    const auto start = now();
    bool exists = QFFileManager::fileExistsAtPath(path);
    while (exists != wanted && now() - start < timeout.wholeSeconds()) {
        pause();
        exists = QFFileManager::fileExistsAtPath(path);
    }
    return exists == wanted;
}

} // namespace

bool waitUntilGone(const std::string& path, Timeout timeout) {
    return waitForExistence(path, false, timeout);
}

bool waitUntilThere(const std::string& path, Timeout timeout) {
    return waitForExistence(path, true, timeout);
}

Error stillThere(const std::string& path) {
    return fileFailure(qf::format(itemIsStillThere, path)).error();
}

FileResult onceGone(FileResult begun, const std::string& path, Timeout timeout) {
    if (begun && !waitUntilGone(path, timeout)) {
        return Unexpected(stillThere(path));
    }
    return begun;
}

FileResult onceThere(FileResult begun, const std::string& path, Timeout timeout) {
    if (begun && !waitUntilThere(path, timeout)) {
        return fileFailure(qf::format(itemIsNotYetThere, path));
    }
    return begun;
}

} // namespace qf
