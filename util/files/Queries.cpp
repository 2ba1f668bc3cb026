#include "util/files/QFFileManager.h"

#include "platform/FileSystem.h"
#include "platform/Services.h"
#include "platform/Workspace.h"
#include "util/log/QFLog.h"

#include <string_view>

namespace {

constexpr std::string_view unableToUnlock = "Unable to unlock file %@: %@";

platform::FileSystem& fileSystem() {
    return platform::service<platform::FileSystem>();
}

// One line for both ways, on purpose: it says "unlock" when locking fails, too.
void setLocked(const std::string& path, bool locked) {
    if (const auto error = fileSystem().setImmutable(path, locked)) {
        QFLog::fastAppendLog(unableToUnlock, path, error->localizedDescription);
    }
}

} // namespace

bool QFFileManager::fileExistsAtPath(const std::string& path) {
    return fileSystem().exists(path);
}

bool QFFileManager::isDirectoryAtPath(const std::string& path) {
    return fileSystem().isDirectory(path);
}

bool QFFileManager::isPackageAtPath(const std::string& path) {
    return platform::service<platform::Workspace>().isFilePackage(path);
}

void QFFileManager::lockFile(const std::string& path) {
    setLocked(path, true);
}

void QFFileManager::unlockFile(const std::string& path) {
    setLocked(path, false);
}
