#include "util/files/QFFileManager.h"

#include "platform/FileSystem.h"
#include "platform/Services.h"
#include "platform/Workspace.h"
#include "platform/foundation/Format.h"
#include "platform/foundation/Path.h"
#include "platform/foundation/Text.h"
#include "util/auth/QFAuthorization.h"
#include "util/files/DirectoryWalk.h"
#include "util/files/Failures.h"
#include "util/files/Recycle.h"
#include "util/files/TimedWait.h"
#include "util/log/QFLog.h"
#include "util/paths/QFLocalPaths.h"

#include <cerrno>
#include <functional>
#include <string_view>
#include <unordered_set>
#include <utility>

namespace path = qf::path;
namespace text = qf::text;

namespace {

constexpr std::string_view errorRemovingFile = "Error removing file: %@. Authorizing...";
constexpr std::string_view folderIsNotEmpty = "%@ is not empty.";

/// Ends a batch: it is made durable once, not item by item.
void makeTrashDurable() {
    qf::service<qf::Workspace>().makeTrashDurable();
}

/// Announces the items of a walk to the desktop before they are trashed, those of a directory in
/// batches.
class Announcements {
public:
    using Matches = std::function<bool(const qf::DirectoryEntry&)>;

    explicit Announcements(Matches matches) : matches_(std::move(matches)) {}

    /// Announces the item that the walk has reached, unless that is done, and a batch of those
    /// after it.
    void reached(const qf::DirectoryWalk& walk) {
        if (announced_.erase(walk.path()) > 0) {
            return;
        }
        const auto paths = walk.pathsFromHere(batchSize, matches_);
        qf::service<qf::Workspace>().prepareToRecycle(QFLocalPaths::trashDirectory(), paths);
        announced_.insert(paths.begin() + 1, paths.end());
    }

private:
    static constexpr std::size_t batchSize = 100;

    Matches matches_;
    std::unordered_set<std::string> announced_;
};

/// Trashes every item below a directory whose name matches, except directories, and returns the
/// items' paths.
template <class Matches>
std::vector<std::string> trashFilesBelow(const std::string& directory, Matches matches) {
    std::vector<std::string> trashed;
    Announcements announcements([&](const qf::DirectoryEntry& entry) {
        return entry.kind != qf::ItemKind::directory && matches(entry.name);
    });
    qf::DirectoryWalk walk(directory);
    while (walk.next()) {
        if (walk.descend() == qf::Descent::notADirectory && matches(walk.entry().name)) {
            announcements.reached(walk);
            QFFileManager::trashFile(walk.path());
            trashed.push_back(walk.path());
        }
    }
    makeTrashDurable();
    return trashed;
}

/// Returns whether a directory that holds an item of this name may count as empty: the file
/// browser's settings for the directory's view, and the directory's own icon.
bool countsForNothing(std::string_view name) {
    return name == ".DS_Store" || name == "Icon\r";
}

} // namespace

qf::Result<std::string> qf::recycle(const std::string& path) {
    return qf::service<qf::Workspace>().recycle(path::deletingLastComponent(path),
                                                QFLocalPaths::trashDirectory(),
                                                path::lastComponent(path));
}

bool QFFileManager::trashFile(const std::string& path) {
    return trashFile(path, qf::ShouldAuth::yes);
}

bool QFFileManager::trashFile(const std::string& path, qf::ShouldAuth shouldAuth) {
    return trashFileWithResult(path, shouldAuth).outcome != qf::TrashOutcome::failed;
}

qf::TrashResult QFFileManager::trashFileWithResult(const std::string& path,
                                                   qf::ShouldAuth shouldAuth) {
    unlockFile(path);
    if (!fileExistsAtPath(path)) {
        return {.outcome = qf::TrashOutcome::absent};
    }
    auto recycled = qf::recycle(path);
    if (recycled) {
        return {.outcome = qf::TrashOutcome::moved, .place = *std::move(recycled)};
    }
    if (shouldAuth == qf::ShouldAuth::no || recycled.error().code == EBUSY) {
        return {.outcome = qf::TrashOutcome::failed, .error = std::move(recycled).error()};
    }
    auto tool = QFAuthorization::sharedController().startTrashing(path);
    return {.outcome = tool.status == 0 ? qf::TrashOutcome::handedOver : qf::TrashOutcome::failed,
            .place = std::move(tool.destination),
            .error = std::move(recycled).error(),
            .right = tool.right,
            .waitUntilDone = std::move(tool.waitUntilExit)};
}

bool QFFileManager::trashFile(const std::string& path, qf::Timeout timeout) {
    return trashFileWithResult(path, timeout).outcome != qf::TrashOutcome::failed;
}

qf::TrashResult QFFileManager::trashFileWithResult(const std::string& path, qf::Timeout timeout) {
    auto trashed = trashFileWithResult(path, qf::ShouldAuth::yes);
    if (trashed.outcome != qf::TrashOutcome::failed && !qf::waitUntilGone(path, timeout)) {
        trashed.outcome = qf::TrashOutcome::failed;
        trashed.error = qf::stillThere(path);
    }
    return trashed;
}

bool QFFileManager::trashDirectoryContents(const std::string& path) {
    return trashDirectoryContents(path, qf::ShouldAuth::yes);
}

bool QFFileManager::trashDirectoryContents(const std::string& path, qf::ShouldAuth shouldAuth) {
    return trashDirectoryContentsWithResult(path, shouldAuth).ok();
}

qf::Result<void> QFFileManager::trashDirectoryContentsWithResult(const std::string& path,
                                                                 qf::ShouldAuth shouldAuth) {
    qf::Result<void> result;
    Announcements announcements([](const auto&) { return true; });
    qf::DirectoryWalk walk(path);
    while (walk.next()) {
        announcements.reached(walk);
        auto trashed = trashFileWithResult(walk.path(), shouldAuth);
        if (result && trashed.outcome == qf::TrashOutcome::failed) {
            result = qf::Unexpected(std::move(trashed.error).value());
        }
    }
    makeTrashDurable();
    return result;
}

std::vector<std::string> QFFileManager::trashFilesOfType(const std::string& type,
                                                         const std::string& inFolder) {
    return trashFilesBelow(inFolder, [wanted = text::lowercased(type)](const std::string& name) {
        return text::lowercased(path::extension(name)) == wanted;
    });
}

std::vector<std::string> QFFileManager::trashFilesNamed(const std::string& name,
                                                        const std::string& inFolder) {
    return trashFilesBelow(inFolder, [&](const std::string& found) { return found == name; });
}

bool QFFileManager::removeFile(const std::string& path) {
    return removeFile(path, qf::ShouldAuth::yes);
}

bool QFFileManager::removeFile(const std::string& path, qf::ShouldAuth shouldAuth) {
    return removeFileWithResult(path, shouldAuth).ok();
}

qf::FileResult QFFileManager::removeFileWithResult(const std::string& path,
                                                   qf::ShouldAuth shouldAuth) {
    unlockFile(path);
    if (!fileExistsAtPath(path)) {
        return qf::DoneBy::user;
    }
    const auto removed = qf::service<qf::FileSystem>().removeItem(path);
    if (removed) {
        return qf::DoneBy::user;
    }
    QFLog::appendLog(errorRemovingFile, removed.error().localizedDescription);
    return qf::byAdministrator(shouldAuth == qf::ShouldAuth::yes &&
                                   QFAuthorization::sharedController().authRemoveFile(path),
                               removed.error());
}

bool QFFileManager::removeFile(const std::string& path, qf::Timeout timeout) {
    return removeFileWithResult(path, timeout).ok();
}

qf::FileResult QFFileManager::removeFileWithResult(const std::string& path, qf::Timeout timeout) {
    return qf::onceGone(removeFileWithResult(path, qf::ShouldAuth::yes), path, timeout);
}

bool QFFileManager::isFolderEmpty(const std::string& path) {
    qf::DirectoryWalk walk(path);
    while (walk.next()) {
        if (!countsForNothing(walk.entry().name) && walk.descend() != qf::Descent::entered) {
            return false;
        }
    }
    return true;
}

bool QFFileManager::removeFolderIfEmpty(const std::string& path) {
    return removeFolderIfEmptyWithResult(path).ok();
}

qf::FileResult QFFileManager::removeFolderIfEmptyWithResult(const std::string& path) {
    if (!isFolderEmpty(path)) {
        return qf::fileFailure(qf::format(folderIsNotEmpty, path));
    }
    return removeFileWithResult(path, qf::ShouldAuth::yes);
}
