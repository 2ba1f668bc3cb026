#include "util/files/QFFileManager.h"

#include "platform/Clock.h"
#include "util/log/QFLog.h"

#include <chrono>
#include <string_view>

namespace {

constexpr std::string_view notYetCreated = "File %@ is not yet created. Waiting...";
constexpr std::string_view beingWritten = "File %@ is currently being written to. Waiting...";
constexpr std::string_view finishedWriting = "File %@ finished writing.";

constexpr std::chrono::microseconds pauseBetweenLooks{500};
constexpr std::chrono::seconds quietTime{5};

/// Returns whether a file that was last changed then has been unchanged for long enough.
bool isQuiet(const std::optional<qf::Date>& modificationDate) {
    return modificationDate && *modificationDate < qf::now() - quietTime;
}

} // namespace

void QFFileManager::waitForFileCreation(const std::string& path, qf::Timeout timeout) {
    const auto start = qf::now();
    if (fileExistsAtPath(path) && fileSize(path) != 0) {
        return;
    }
    // Some time has passed in any case, so a time-out of zero has expired.
    const auto limit = timeout.wholeSeconds();
    if (limit > std::chrono::seconds(0) && qf::now() - start <= limit) {
        QFLog::appendLog(notYetCreated, path);
        qf::sleep(pauseBetweenLooks);
    }
}

void QFFileManager::waitForFileWrites(const std::string& path) {
    waitForFileWrites(path, std::nullopt);
}

void QFFileManager::waitForFileWrites(const std::string& path,
                                      const std::optional<std::string>& lockFile) {
    auto modificationDate = modificationDateForFile(path);
    if (isQuiet(modificationDate) && !(lockFile && fileExistsAtPath(*lockFile))) {
        return;
    }
    QFLog::appendLog(beingWritten, path);
    while (!isQuiet(modificationDate)) {
        qf::sleep(pauseBetweenLooks);
        modificationDate = modificationDateForFile(path);
    }
    QFLog::appendLog(finishedWriting, path);
}
