#include "platform/linux/system/Preferences.h"

#include "platform/Console.h"
#include "platform/Services.h"
#include "platform/foundation/Path.h"
#include "platform/linux/posix/Directories.h"
#include "platform/linux/posix/Errors.h"
#include "platform/linux/system/SearchPaths.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace qf::native {

namespace {

/// Returns whether the item at the path may be replaced: it is missing, or a readable file.
SystemResult<void> checkReplaceable(const std::string& path) {
    struct stat status {};
    if (auto found = checked(::stat(path.c_str(), &status)); !found) {
        return failedWith(found, ENOENT) ? SystemResult<void>() : found;
    }
    if (!S_ISREG(status.st_mode)) {
        return Unexpected(Errno(S_ISDIR(status.st_mode) ? EISDIR : EINVAL));
    }
    return checked(::faccessat(AT_FDCWD, path.c_str(), R_OK, AT_EACCESS));
}

} // namespace

std::string Preferences::directory() const {
    return path::appending(directoryInHome(account_.homeDirectory(), DirectoryKind::library),
                           "Preferences");
}

std::string Preferences::store() const {
    return path::appending(directory(), domain_ + ".plist");
}

Value Preferences::value(const std::string& key) {
    return propertyLists_.read(store())[key];
}

void Preferences::setValue(const std::string& key, const Value& value) {
    const std::lock_guard lock(writing_);
    if (this->value(key) == value) {
        return;
    }
    auto ready = makeDirectories(directory(), 0755);
    // If the volume has no locks, only the threads of this process wait for one another.
    const auto otherProcesses = lockedDirectory(directory());
    ready = ready ? checkReplaceable(store()) : ready;
    const auto stored = ready ? write(key, value)
                              : posixResult(ready, path::lastComponent(store()), participle::saved);
    if (!stored) {
        service<qf::Console>().systemLog("Preferences: " + stored.error().localizedDescription);
    }
}

/// Changes one value in the content of the store.
Result<void> Preferences::write(const std::string& key, const Value& value) {
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

} // namespace qf::native
