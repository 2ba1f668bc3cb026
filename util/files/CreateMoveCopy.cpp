#include "util/files/QFFileManager.h"

#include "platform/Clock.h"
#include "platform/Console.h"
#include "platform/foundation/Path.h"
#include "platform/foundation/Text.h"
#include "util/auth/QFAuthorization.h"
#include "util/files/DirectoryWalk.h"
#include "util/files/FileNames.h"
#include "util/files/Services.h"
#include "util/files/TimedWait.h"
#include "util/log/QFLog.h"

#include <chrono>
#include <string_view>

namespace path = platform::path;
namespace text = platform::text;

namespace {

constexpr std::string_view driveNotMounted = "Unable to create directory. Drive is not mounted.";
constexpr std::string_view errorCreatingDirectory = "Error creating folder: %@. Authorizing...";
constexpr std::string_view errorMovingFile = "Error moving file: %@.";
constexpr std::string_view authorizing = "Authorizing...";
constexpr std::string_view copyFromNothing = "Error copying file: source path is nil";
constexpr std::string_view copyToNothing = "Error copying file %@: destination path is nil";
constexpr std::string_view errorCopyingFile = "Error copying file: %@. Authorizing...";
constexpr std::string_view copyingEntry = "File: %@";

constexpr std::chrono::microseconds pauseAfterCaseRename{500};

/// Returns the result of an operation that cannot be tried.
FileResult notTried(std::string_view why) {
    return platform::Unexpected(
        platform::Error{.domain = "QFFileErrorDomain", .localizedDescription = std::string(why)});
}

/// Returns whether a move changes at most the case of letters.
bool isCaseRename(const std::string& path, const std::string& toPath) {
    return text::lowercased(path) == text::lowercased(toPath);
}

/// Moves an item in two steps, because both names are the same on a volume that ignores case. If
/// the second step fails, the item is left under the unique name.
bool moveThroughUniqueName(const std::string& path, const std::string& toPath) {
    const auto between = numberedFilename(toPath);
    return fileSystem().moveItem(path, between) && fileSystem().moveItem(between, toPath);
}

} // namespace

bool QFFileManager::createDirectory(const std::string& path) {
    return createDirectory(path, ShouldAuth::yes);
}

bool QFFileManager::createDirectory(const std::string& path, ShouldAuth shouldAuth) {
    return createDirectoryWithResult(path, shouldAuth).ok();
}

FileResult QFFileManager::createDirectoryWithResult(const std::string& path,
                                                    ShouldAuth shouldAuth) {
    if (!isDriveMountedForPath(path)) {
        platform::systemLog(driveNotMounted);
        return notTried(driveNotMounted);
    }
    const auto created = fileSystem().createDirectory(path);
    if (created) {
        return DoneBy::user;
    }
    QFLog::appendLog(errorCreatingDirectory, created.error().localizedDescription);
    return byAdministrator(shouldAuth == ShouldAuth::yes &&
                               QFAuthorization::sharedController().authCreateDir(path),
                           created.error());
}

bool QFFileManager::createDirectory(const std::string& path, platform::Timeout timeout) {
    return createDirectory(path) && waitUntilThere(path, timeout);
}

std::string QFFileManager::createDirectoryStructure(const std::string& path,
                                                    const std::string& destination) {
    const bool isPlainDirectory = isDirectoryAtPath(path) && !isPackageAtPath(path);
    auto mirrored =
        path::appending(destination, isPlainDirectory ? path : path::deletingLastComponent(path));
    if (!fileExistsAtPath(mirrored)) {
        createDirectory(mirrored);
    }
    return mirrored;
}

bool QFFileManager::moveFile(const std::string& path, const std::string& toPath) {
    return moveFile(path, toPath, ShouldAuth::yes);
}

bool QFFileManager::moveFile(const std::string& path, const std::string& toPath,
                             ShouldAuth shouldAuth) {
    return moveFileWithResult(path, toPath, shouldAuth).ok();
}

FileResult QFFileManager::moveFileWithResult(const std::string& path, const std::string& toPath,
                                             ShouldAuth shouldAuth) {
    if (fileExistsAtPath(toPath)) {
        unlockFile(toPath);
    }
    unlockFolder(path::appending(toPath, path::lastComponent(path)));
    if (isCaseRename(path, toPath) && moveThroughUniqueName(path, toPath)) {
        return DoneBy::user;
    }
    const auto moved = fileSystem().moveItem(path, toPath);
    if (moved) {
        return DoneBy::user;
    }
    QFLog::appendLog(errorMovingFile, moved.error().localizedDescription);
    if (shouldAuth == ShouldAuth::no) {
        return platform::Unexpected(moved.error());
    }
    QFLog::appendLog(authorizing);
    return byAdministrator(QFAuthorization::sharedController().authMoveFile(path, toPath),
                           moved.error());
}

bool QFFileManager::moveFile(const std::string& path, const std::string& toPath,
                             platform::Timeout timeout) {
    if (!moveFile(path, toPath)) {
        return false;
    }
    if (isCaseRename(path, toPath)) {
        platform::sleep(pauseAfterCaseRename);
        return true;
    }
    return waitUntilGone(path, timeout);
}

bool QFFileManager::copyFile(const std::optional<std::string>& path,
                             const std::optional<std::string>& toPath) {
    return copyFile(path, toPath, ShouldAuth::yes);
}

bool QFFileManager::copyFile(const std::optional<std::string>& path,
                             const std::optional<std::string>& toPath, ShouldAuth shouldAuth) {
    return copyFileWithResult(path, toPath, shouldAuth).ok();
}

FileResult QFFileManager::copyFileWithResult(const std::optional<std::string>& path,
                                             const std::optional<std::string>& toPath,
                                             ShouldAuth shouldAuth) {
    if (!path) {
        QFLog::appendLogAndPrint(copyFromNothing);
        return notTried(copyFromNothing);
    }
    if (!toPath) {
        QFLog::appendLogAndPrint(copyToNothing, path);
        return notTried(platform::format(copyToNothing, {path}));
    }
    unlockFile(path::deletingLastComponent(*toPath));
    const auto copied = fileSystem().copyItem(*path, *toPath);
    if (copied) {
        return DoneBy::user;
    }
    QFLog::appendLog(errorCopyingFile, copied.error().localizedDescription);
    return byAdministrator(shouldAuth == ShouldAuth::yes &&
                               QFAuthorization::sharedController().authCopyFile(path, toPath),
                           copied.error());
}

bool QFFileManager::copyFile(const std::optional<std::string>& path,
                             const std::optional<std::string>& toPath, platform::Timeout timeout) {
    return copyFile(path, toPath) && waitUntilThere(*toPath, timeout);
}

bool QFFileManager::copyContentsOfDirectory(const std::string& path, const std::string& toPath,
                                            platform::Timeout timeout) {
    DirectoryWalk walk(path);
    while (walk.next()) {
        const auto& name = walk.entry().name;
        QFLog::fastAppendLog(copyingEntry, name);
        if (!copyFile(walk.path(), path::appending(toPath, name), timeout)) {
            return false;
        }
    }
    return true;
}
