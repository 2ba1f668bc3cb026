#include "util/files/QFFileManager.h"

#include "platform/Clock.h"
#include "platform/Console.h"
#include "platform/ExtendedAttributes.h"
#include "platform/Services.h"
#include "platform/Workspace.h"
#include "platform/foundation/TextEncoding.h"
#include "util/auth/QFAuthorization.h"
#include "util/files/DirectoryWalk.h"
#include "util/files/Failures.h"
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

constexpr std::string_view touchNothing = "There is no path to touch.";
constexpr std::string_view touchFailed = "Unable to run %@ for %@ as administrator - error %d";

constexpr const char* touchTool = "/usr/bin/touch";
constexpr std::chrono::seconds touchTimeout{5};

/// Logged in place of a size, or of a result, after a failure.
constexpr std::int64_t failed = -1;

/// The longest value of an extended attribute that is read, in bytes.
constexpr std::size_t readableSize = 255;

qf::ExtendedAttributes& extendedAttributes() {
    return qf::service<qf::ExtendedAttributes>();
}

// One message for both, on purpose: it says "unlock" even if locking fails.
void setLocked(const std::string& path, bool locked) {
    if (const auto changed = qf::fileSystem().setImmutable(path, locked); !changed) {
        QFLog::fastAppendLog(unableToUnlock, path, changed.error().localizedDescription);
    }
}

void setLockedBelow(const std::string& directory, bool locked) {
    qf::DirectoryWalk walk(directory);
    while (walk.next()) {
        if (walk.descend() == qf::Descent::notADirectory) {
            setLocked(walk.path(), locked);
        }
    }
}

void setCreationDateToNow(const std::string& path) {
    static_cast<void>(qf::fileSystem().setCreationDate(path, qf::now()));
}

/// Succeeds whatever the tool does.
qf::FileResult touchAsUser(const std::string& path, qf::SetCreationDate setCreationDate) {
    QFTaskEx::runTask(touchTool, {"-c", path}, touchTimeout);
    if (setCreationDate == qf::SetCreationDate::yes) {
        setCreationDateToNow(path);
    }
    return qf::DoneBy::user;
}

qf::FileResult touchAsAdministrator(const std::string& path, qf::SetCreationDate setCreationDate) {
    if (setCreationDate == qf::SetCreationDate::yes) {
        setCreationDateToNow(path);
    }
    const int status =
        QFAuthorization::sharedController().authExecTask(touchTool, {"-c", path}, qf::Async::no);
    if (status != 0) {
        return qf::fileFailure(qf::format(touchFailed, touchTool, path, status), status);
    }
    return qf::DoneBy::administrator;
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
    if (const auto changed = qf::fileSystem().setPosixPermissions(forFile, permissions); !changed) {
        QFLog::appendLog(errorSettingPermissions, forFile, changed.error().localizedDescription);
    }
}

bool QFFileManager::setModificationDate(qf::Date date, const std::string& forFile) {
    return setModificationDateWithResult(date, forFile).ok();
}

qf::Result<void> QFFileManager::setModificationDateWithResult(qf::Date date,
                                                              const std::string& forFile) {
    return qf::fileSystem().setModificationDate(forFile, date);
}

bool QFFileManager::touchFile(const std::optional<std::string>& path) {
    return touchFile(path, qf::SetCreationDate::no);
}

bool QFFileManager::touchFile(const std::optional<std::string>& path,
                              qf::SetCreationDate setCreationDate) {
    return touchFileWithResult(path, setCreationDate).ok();
}

qf::FileResult QFFileManager::touchFileWithResult(const std::optional<std::string>& path,
                                                  qf::SetCreationDate setCreationDate) {
    if (!path) {
        return qf::fileFailure(std::string(touchNothing));
    }
    auto touched = qf::fileSystem().isWritable(*path)
                       ? touchAsUser(*path, setCreationDate)
                       : touchAsAdministrator(*path, setCreationDate);
    static_cast<void>(qf::service<qf::Workspace>().noteFileSystemChanged(*path));
    return touched;
}

bool QFFileManager::createEmptyFile(const std::string& path) {
    return createEmptyFileWithResult(path).ok();
}

qf::FileResult QFFileManager::createEmptyFileWithResult(const std::string& path) {
    const auto temporary = QFLocalPaths::tempFile();
    if (const auto written = qf::fileSystem().writeAtomically(temporary, ""); !written) {
        return qf::Unexpected(written.error());
    }
    return moveFileWithResult(temporary, path, qf::ShouldAuth::yes);
}

std::optional<std::string> QFFileManager::metadataValueForKey(const std::string& key,
                                                              const std::string& file) {
    const auto size = extendedAttributes().size(file, key);
    qf::systemLog(attributeSize, size ? static_cast<std::int64_t>(*size) : failed);
    if (!size) {
        qf::systemLog(errorRetrievingAttribute, size.error().code);
        return std::nullopt;
    }
    if (*size == 0) {
        return std::nullopt;
    }
    // A value that is too long to be read is returned as zeros.
    qf::Data value{std::vector<std::byte>(std::max(*size, readableSize))};
    static_cast<void>(
        extendedAttributes().read(file, key, std::span(value.bytes).first(readableSize)));
    value.bytes.resize(*size);
    return qf::decodedText(value, qf::TextEncoding::utf8);
}

bool QFFileManager::setMetadataValue(const std::string& value, const std::string& forKey,
                                     const std::string& file) {
    return setMetadataValueWithResult(value, forKey, file).ok();
}

qf::Result<void> QFFileManager::setMetadataValueWithResult(const std::string& value,
                                                           const std::string& forKey,
                                                           const std::string& file) {
    auto set = extendedAttributes().set(file, forKey, value);
    if (!set) {
        qf::systemLog(errorSettingAttribute, file, failed);
    }
    return set;
}
