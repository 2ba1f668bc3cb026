#include "util/files/QFFileManager.h"

#include "platform/FileSystem.h"
#include "platform/Services.h"
#include "platform/Workspace.h"
#include "platform/foundation/Path.h"
#include "util/auth/QFAuthorization.h"
#include "util/log/QFLog.h"
#include "util/paths/QFLocalPaths.h"

#include <optional>
#include <string_view>

namespace {

constexpr std::string_view errorRemovingFile = "Error removing file: %@. Authorizing...";

/// Moves an item into the user's Trash as the current user.
std::optional<platform::Error> recycle(const std::string& path) {
    return platform::service<platform::Workspace>().recycle(
        platform::path::deletingLastComponent(path), QFLocalPaths::trashDirectory(),
        platform::path::lastComponent(path));
}

} // namespace

bool QFFileManager::trashFile(const std::string& path) {
    return trashFile(path, ShouldAuth::yes);
}

bool QFFileManager::trashFile(const std::string& path, ShouldAuth shouldAuth) {
    unlockFile(path);
    if (!fileExistsAtPath(path) || !recycle(path)) {
        return true;
    }
    return shouldAuth == ShouldAuth::yes && QFAuthorization::sharedController().authTrashFile(path);
}

bool QFFileManager::removeFile(const std::string& path) {
    return removeFile(path, ShouldAuth::yes);
}

bool QFFileManager::removeFile(const std::string& path, ShouldAuth shouldAuth) {
    unlockFile(path);
    if (!fileExistsAtPath(path)) {
        return true;
    }
    const auto error = platform::service<platform::FileSystem>().removeItem(path);
    if (!error) {
        return true;
    }
    QFLog::appendLog(errorRemovingFile, error->localizedDescription);
    return shouldAuth == ShouldAuth::yes &&
           QFAuthorization::sharedController().authRemoveFile(path);
}
