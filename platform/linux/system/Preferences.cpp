#include "platform/linux/system/Preferences.h"

#include "platform/Console.h"
#include "platform/Services.h"
#include "platform/foundation/Path.h"
#include "platform/linux/posix/Errors.h"
#include "platform/linux/posix/Folders.h"
#include "platform/linux/system/SearchPaths.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace platform::native {

namespace {

/// Why what stands at the path may not be replaced: it is there and is no file that can be read.
/// 0 when nothing speaks against it.
int obstacle(const std::string& path) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) {
        return errno == ENOENT ? 0 : errno;
    }
    if (!S_ISREG(status.st_mode)) {
        return S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
    }
    return ::faccessat(AT_FDCWD, path.c_str(), R_OK, AT_EACCESS) == 0 ? 0 : errno;
}

} // namespace

std::string Preferences::folder() const {
    return path::appending(folderInHome(account_.homeDirectory(), DirectoryKind::library),
                           "Preferences");
}

std::string Preferences::store() const {
    return path::appending(folder(), domain_ + ".plist");
}

Value Preferences::value(const std::string& key) {
    return propertyLists_.read(store())[key];
}

void Preferences::setValue(const std::string& key, const Value& value) {
    const std::lock_guard lock(writing_);
    if (this->value(key) == value) {
        return;
    }
    int error = makeFolders(folder(), 0755);
    // Where the volume has no locks, the threads of this process alone wait for one another.
    const auto otherProcesses = lockedFolder(folder());
    error = error == 0 ? obstacle(store()) : error;
    const auto failure =
        error == 0 ? write(key, value)
                   : std::optional(posixError(error, path::lastComponent(store()), "saved"));
    if (failure) {
        service<platform::Console>().systemLog("Preferences: " + failure->localizedDescription);
    }
}

/// Changes one value in what the store holds.
std::optional<Error> Preferences::write(const std::string& key, const Value& value) {
    auto content = propertyLists_.read(store());
    if (content.as<Value::Dictionary>() == nullptr) {
        content = Value::Dictionary();
    }
    if (value.isNone()) {
        content.as<Value::Dictionary>()->erase(key);
    } else {
        content.as<Value::Dictionary>()->insert_or_assign(key, value);
    }
    return propertyLists_.writeAtomically(content, store());
}

} // namespace platform::native
