#include "util/files/QFFileManager.h"

#include "platform/FileSystem.h"
#include "platform/Services.h"
#include "platform/Workspace.h"
#include "platform/foundation/Path.h"
#include "platform/foundation/Text.h"
#include "util/auth/QFAuthorization.h"
#include "util/files/DirectoryWalk.h"
#include "util/files/Recycle.h"
#include "util/files/TimedWait.h"
#include "util/log/QFLog.h"
#include "util/paths/QFLocalPaths.h"

#include <cerrno>
#include <functional>
#include <string_view>
#include <unordered_set>
#include <utility>

namespace path = platform::path;
namespace text = platform::text;

namespace {

constexpr std::string_view errorRemovingFile = "Error removing file: %@. Authorizing...";

/// Ends a batch: it is made durable once, not item by item.
void makeTrashDurable() {
    platform::service<platform::Workspace>().makeTrashDurable();
}

/// Announces the items of a walk to the desktop before they are trashed, those of a directory in
/// batches.
class Announcements {
public:
    using Matches = std::function<bool(const platform::DirectoryEntry&)>;

    explicit Announcements(Matches matches) : matches_(std::move(matches)) {}

    /// Announces the item that the walk has reached, unless that is done, and a batch of those
    /// after it.
    void reached(const DirectoryWalk& walk) {
        if (announced_.erase(walk.path()) > 0) {
            return;
        }
        const auto paths = walk.pathsFromHere(batchSize, matches_);
        platform::service<platform::Workspace>().prepareToRecycle(QFLocalPaths::trashDirectory(),
                                                                  paths);
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
    Announcements announcements([&](const platform::DirectoryEntry& entry) {
        return entry.kind != platform::ItemKind::directory && matches(entry.name);
    });
    DirectoryWalk walk(directory);
    while (walk.next()) {
        if (walk.descend() == Descent::notADirectory && matches(walk.entry().name)) {
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

platform::Result<std::string> recycle(const std::string& path) {
    return platform::service<platform::Workspace>().recycle(path::deletingLastComponent(path),
                                                            QFLocalPaths::trashDirectory(),
                                                            path::lastComponent(path));
}

bool QFFileManager::trashFile(const std::string& path) {
    return trashFile(path, ShouldAuth::yes);
}

bool QFFileManager::trashFile(const std::string& path, ShouldAuth shouldAuth) {
    return trashFileWithResult(path, shouldAuth).outcome != TrashOutcome::failed;
}

TrashResult QFFileManager::trashFileWithResult(const std::string& path, ShouldAuth shouldAuth) {
    unlockFile(path);
    if (!fileExistsAtPath(path)) {
        return {.outcome = TrashOutcome::absent};
    }
    auto recycled = recycle(path);
    if (recycled) {
        return {.outcome = TrashOutcome::moved, .place = *std::move(recycled)};
    }
    if (shouldAuth == ShouldAuth::no || recycled.error().code == EBUSY) {
        return {.outcome = TrashOutcome::failed, .error = std::move(recycled).error()};
    }
    auto tool = QFAuthorization::sharedController().startTrashing(path);
    return {.outcome = tool.status == 0 ? TrashOutcome::handedOver : TrashOutcome::failed,
            .place = std::move(tool.destination),
            .error = std::move(recycled).error(),
            .right = tool.right,
            .waitUntilDone = std::move(tool.waitUntilExit)};
}

bool QFFileManager::trashFile(const std::string& path, platform::Timeout timeout) {
    return trashFile(path) && waitUntilGone(path, timeout);
}

bool QFFileManager::trashDirectoryContents(const std::string& path) {
    return trashDirectoryContents(path, ShouldAuth::yes);
}

bool QFFileManager::trashDirectoryContents(const std::string& path, ShouldAuth shouldAuth) {
    bool succeeded = true;
    Announcements announcements([](const auto&) { return true; });
    DirectoryWalk walk(path);
    while (walk.next()) {
        announcements.reached(walk);
        const bool trashed = trashFile(walk.path(), shouldAuth);
        succeeded = succeeded && trashed;
    }
    makeTrashDurable();
    return succeeded;
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
    return removeFile(path, ShouldAuth::yes);
}

bool QFFileManager::removeFile(const std::string& path, ShouldAuth shouldAuth) {
    return removeFileWithResult(path, shouldAuth).ok();
}

FileResult QFFileManager::removeFileWithResult(const std::string& path, ShouldAuth shouldAuth) {
    unlockFile(path);
    if (!fileExistsAtPath(path)) {
        return DoneBy::user;
    }
    const auto removed = platform::service<platform::FileSystem>().removeItem(path);
    if (removed) {
        return DoneBy::user;
    }
    QFLog::appendLog(errorRemovingFile, removed.error().localizedDescription);
    return byAdministrator(shouldAuth == ShouldAuth::yes &&
                               QFAuthorization::sharedController().authRemoveFile(path),
                           removed.error());
}

bool QFFileManager::removeFile(const std::string& path, platform::Timeout timeout) {
    return removeFile(path, ShouldAuth::yes) && waitUntilGone(path, timeout);
}

bool QFFileManager::isFolderEmpty(const std::string& path) {
    DirectoryWalk walk(path);
    while (walk.next()) {
        if (!countsForNothing(walk.entry().name) && walk.descend() != Descent::entered) {
            return false;
        }
    }
    return true;
}

bool QFFileManager::removeFolderIfEmpty(const std::string& path) {
    return isFolderEmpty(path) && removeFile(path);
}
