#include "util/files/QFFileManager.h"

#include "platform/Clock.h"
#include "platform/Console.h"
#include "platform/ExtendedAttributes.h"
#include "platform/Services.h"
#include "platform/Workspace.h"
#include "platform/foundation/TextEncoding.h"
#include "util/auth/QFAuthorization.h"
#include "util/files/DirectoryWalk.h"
#include "util/files/Services.h"
#include "util/log/QFLog.h"
#include "util/paths/QFLocalPaths.h"
#include "util/task/QFTaskEx.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace {

constexpr std::string_view unableToUnlock = "Unable to unlock file %@: %@";
constexpr std::string_view errorSettingPermissions = "Error setting permissions for file %@: %@";
constexpr std::string_view attributeSize = "buffer val: %i";
constexpr std::string_view errorRetrievingAttribute = "Error retrieving file attribute: %i";
constexpr std::string_view errorSettingAttribute =
    "Error setting extended attribute for file %@ - %i";

constexpr const char* touchTool = "/usr/bin/touch";
constexpr std::chrono::seconds touchTimeout{5};

/// Logged in place of a size, or of a result, after a failure.
constexpr std::int64_t failed = -1;

/// The longest value of an extended attribute that is read, in bytes.
constexpr std::size_t readableSize = 255;

platform::ExtendedAttributes& extendedAttributes() {
    return platform::service<platform::ExtendedAttributes>();
}

// One message for both, on purpose: it says "unlock" even if locking fails.
void setLocked(const std::string& path, bool locked) {
    if (const auto changed = fileSystem().setImmutable(path, locked); !changed) {
        QFLog::fastAppendLog(unableToUnlock, path, changed.error().localizedDescription);
    }
}

void setLockedBelow(const std::string& directory, bool locked) {
    DirectoryWalk walk(directory);
    while (walk.next()) {
        if (walk.descend() == Descent::notADirectory) {
            setLocked(walk.path(), locked);
        }
    }
}

void setCreationDateToNow(const std::string& path) {
    static_cast<void>(fileSystem().setCreationDate(path, platform::now()));
}

/// Returns true whatever the tool does.
bool touchAsUser(const std::string& path, SetCreationDate setCreationDate) {
    QFTaskEx::runTask(touchTool, {"-c", path}, touchTimeout);
    if (setCreationDate == SetCreationDate::yes) {
        setCreationDateToNow(path);
    }
    return true;
}

bool touchAsAdministrator(const std::string& path, SetCreationDate setCreationDate) {
    if (setCreationDate == SetCreationDate::yes) {
        setCreationDateToNow(path);
    }
    return QFAuthorization::sharedController().authExecTask(touchTool, {"-c", path}, Async::no) ==
           0;
}

} // namespace

void QFFileManager::lockFile(const std::string& path) {
    setLocked(path, true);
}

void QFFileManager::unlockFile(const std::string& path) {
    setLocked(path, false);
}

void QFFileManager::lockFolder(const std::string& path) {
    setLockedBelow(path, true);
}

void QFFileManager::unlockFolder(const std::string& path) {
    setLockedBelow(path, false);
}

void QFFileManager::setPosixPermissions(unsigned permissions, const std::string& forFile) {
    if (const auto changed = fileSystem().setPosixPermissions(forFile, permissions); !changed) {
        QFLog::appendLog(errorSettingPermissions, forFile, changed.error().localizedDescription);
    }
}

bool QFFileManager::setModificationDate(platform::Date date, const std::string& forFile) {
    return fileSystem().setModificationDate(forFile, date).ok();
}

bool QFFileManager::touchFile(const std::optional<std::string>& path) {
    return touchFile(path, SetCreationDate::no);
}

bool QFFileManager::touchFile(const std::optional<std::string>& path,
                              SetCreationDate setCreationDate) {
    if (!path) {
        return false;
    }
    const bool touched = fileSystem().isWritable(*path)
                             ? touchAsUser(*path, setCreationDate)
                             : touchAsAdministrator(*path, setCreationDate);
    static_cast<void>(platform::service<platform::Workspace>().noteFileSystemChanged(*path));
    return touched;
}

bool QFFileManager::createEmptyFile(const std::string& path) {
    const auto temporary = QFLocalPaths::tempFile();
    return fileSystem().writeAtomically(temporary, "") && moveFile(temporary, path);
}

std::optional<std::string> QFFileManager::metadataValueForKey(const std::string& key,
                                                              const std::string& file) {
    const auto size = extendedAttributes().size(file, key);
    platform::systemLog(attributeSize, size ? static_cast<std::int64_t>(*size) : failed);
    if (!size) {
        platform::systemLog(errorRetrievingAttribute, size.error().code);
        return std::nullopt;
    }
    if (*size == 0) {
        return std::nullopt;
    }
    // A value that is too long to be read is returned as zeros.
    platform::Data value{std::vector<std::byte>(std::max(*size, readableSize))};
    static_cast<void>(
        extendedAttributes().read(file, key, std::span(value.bytes).first(readableSize)));
    value.bytes.resize(*size);
    return platform::decodedText(value, platform::TextEncoding::utf8);
}

bool QFFileManager::setMetadataValue(const std::string& value, const std::string& forKey,
                                     const std::string& file) {
    const auto set = extendedAttributes().set(file, forKey, value);
    if (!set) {
        platform::systemLog(errorSettingAttribute, file, failed);
    }
    return set.ok();
}
