#include "util/files/QFFileManager.h"

#include "platform/Clock.h"
#include "platform/Console.h"
#include "platform/foundation/Path.h"
#include "platform/foundation/Text.h"
#include "util/auth/QFAuthorization.h"
#include "util/files/DirectoryWalk.h"
#include "util/files/Failures.h"
#include "util/files/FileNames.h"
#include "util/files/Services.h"
#include "util/files/TimedWait.h"
#include "util/log/QFLog.h"

#include <chrono>
#include <string_view>
#include <utility>

namespace path = qf::path;
namespace text = qf::text;

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

/// Returns whether a move changes at most the case of letters.
bool isCaseRename(const std::string& path, const std::string& toPath) {
    return text::lowercased(path) == text::lowercased(toPath);
}

/// Moves an item in two steps, because both names are the same on a volume that ignores case. If
/// the second step fails, the item is left under the unique name.
bool moveThroughUniqueName(const std::string& path, const std::string& toPath) {
    const auto between = qf::numberedFilename(toPath);
    return qf::fileSystem().moveItem(path, between) && qf::fileSystem().moveItem(between, toPath);
}

} // namespace

bool QFFileManager::createDirectory(const std::string& path) {
    return createDirectory(path, qf::ShouldAuth::yes);
}

bool QFFileManager::createDirectory(const std::string& path, qf::ShouldAuth shouldAuth) {
    return createDirectoryWithResult(path, shouldAuth).ok();
}

qf::FileResult QFFileManager::createDirectoryWithResult(const std::string& path,
                                                        qf::ShouldAuth shouldAuth) {
    if (!isDriveMountedForPath(path)) {
        qf::systemLog(driveNotMounted);
        return qf::fileFailure(std::string(driveNotMounted));
    }
    const auto created = qf::fileSystem().createDirectory(path);
    if (created) {
        return qf::DoneBy::user;
    }
    QFLog::appendLog(errorCreatingDirectory, created.error().localizedDescription);
    return qf::byAdministrator(shouldAuth == qf::ShouldAuth::yes &&
                                   QFAuthorization::sharedController().authCreateDir(path),
                               created.error());
}

bool QFFileManager::createDirectory(const std::string& path, qf::Timeout timeout) {
    return createDirectoryWithResult(path, timeout).ok();
}

qf::FileResult QFFileManager::createDirectoryWithResult(const std::string& path,
                                                        qf::Timeout timeout) {
    return qf::onceThere(createDirectoryWithResult(path, qf::ShouldAuth::yes), path, timeout);
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
    return moveFile(path, toPath, qf::ShouldAuth::yes);
}

bool QFFileManager::moveFile(const std::string& path, const std::string& toPath,
                             qf::ShouldAuth shouldAuth) {
    return moveFileWithResult(path, toPath, shouldAuth).ok();
}

qf::FileResult QFFileManager::moveFileWithResult(const std::string& path, const std::string& toPath,
                                                 qf::ShouldAuth shouldAuth) {
    const bool isTaken = fileExistsAtPath(toPath);
    if (isTaken) {
        unlockFile(toPath);
    }
    unlockFolder(path::appending(toPath, path::lastComponent(path)));
    if (isCaseRename(path, toPath) && moveThroughUniqueName(path, toPath)) {
        return qf::DoneBy::user;
    }
    const auto moved = qf::fileSystem().moveItem(path, toPath);
    if (moved) {
        return qf::DoneBy::user;
    }
    QFLog::appendLog(errorMovingFile, moved.error().localizedDescription);
    // Into the copy of an item that could not be removed, the administrator's tool would move it.
    const bool isCopied = !isTaken && fileExistsAtPath(toPath);
    if (shouldAuth == qf::ShouldAuth::no || isCopied) {
        return qf::Unexpected(moved.error());
    }
    QFLog::appendLog(authorizing);
    return qf::byAdministrator(QFAuthorization::sharedController().authMoveFile(path, toPath),
                               moved.error());
}

bool QFFileManager::moveFile(const std::string& path, const std::string& toPath,
                             qf::Timeout timeout) {
    return moveFileWithResult(path, toPath, timeout).ok();
}

qf::FileResult QFFileManager::moveFileWithResult(const std::string& path, const std::string& toPath,
                                                 qf::Timeout timeout) {
    auto moved = moveFileWithResult(path, toPath, qf::ShouldAuth::yes);
    if (moved && isCaseRename(path, toPath)) {
        qf::sleep(pauseAfterCaseRename);
        return moved;
    }
    return qf::onceGone(std::move(moved), path, timeout);
}

bool QFFileManager::copyFile(const std::optional<std::string>& path,
                             const std::optional<std::string>& toPath) {
    return copyFile(path, toPath, qf::ShouldAuth::yes);
}

bool QFFileManager::copyFile(const std::optional<std::string>& path,
                             const std::optional<std::string>& toPath, qf::ShouldAuth shouldAuth) {
    return copyFileWithResult(path, toPath, shouldAuth).ok();
}

qf::FileResult QFFileManager::copyFileWithResult(const std::optional<std::string>& path,
                                                 const std::optional<std::string>& toPath,
                                                 qf::ShouldAuth shouldAuth) {
    if (!path) {
        QFLog::appendLogAndPrint(copyFromNothing);
        return qf::fileFailure(std::string(copyFromNothing));
    }
    if (!toPath) {
        QFLog::appendLogAndPrint(copyToNothing, path);
        return qf::fileFailure(qf::format(copyToNothing, {path}));
    }
    unlockFile(path::deletingLastComponent(*toPath));
    const auto copied = qf::fileSystem().copyItem(*path, *toPath);
    if (copied) {
        return qf::DoneBy::user;
    }
    QFLog::appendLog(errorCopyingFile, copied.error().localizedDescription);
    return qf::byAdministrator(shouldAuth == qf::ShouldAuth::yes &&
                                   QFAuthorization::sharedController().authCopyFile(path, toPath),
                               copied.error());
}

bool QFFileManager::copyFile(const std::optional<std::string>& path,
                             const std::optional<std::string>& toPath, qf::Timeout timeout) {
    return copyFileWithResult(path, toPath, timeout).ok();
}

qf::FileResult QFFileManager::copyFileWithResult(const std::optional<std::string>& path,
                                                 const std::optional<std::string>& toPath,
                                                 qf::Timeout timeout) {
    return qf::onceThere(copyFileWithResult(path, toPath, qf::ShouldAuth::yes), toPath.value_or(""),
                         timeout);
}

bool QFFileManager::copyContentsOfDirectory(const std::string& path, const std::string& toPath,
                                            qf::Timeout timeout) {
    return copyContentsOfDirectoryWithResult(path, toPath, timeout).ok();
}

qf::Result<void> QFFileManager::copyContentsOfDirectoryWithResult(const std::string& path,
                                                                  const std::string& toPath,
                                                                  qf::Timeout timeout) {
    qf::DirectoryWalk walk(path);
    while (walk.next()) {
        const auto& name = walk.entry().name;
        QFLog::fastAppendLog(copyingEntry, name);
        if (const auto copied =
                copyFileWithResult(walk.path(), path::appending(toPath, name), timeout);
            !copied) {
            return qf::Unexpected(copied.error());
        }
    }
    return {};
}
