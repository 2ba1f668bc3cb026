#include "platform/linux/helper/ProtectedItems.h"

#include "platform/linux/helper/Refusal.h"

#include <dirent.h>
#include <mntent.h>
#include <pwd.h>

#include <cstdio>

namespace platform::native::helper {

ProtectedItems::ProtectedItems(uid_t user) {
    addTopLevel();
    addHomes(user);
    addMountPoints();
}

void ProtectedItems::add(const std::string& path) {
    walk(path, [this](const Item& item) { identities_.insert(item.identity()); });
}

void ProtectedItems::addTopLevel() {
    DIR* folder = ::opendir("/");
    if (folder == nullptr) {
        throw Refusal{Status::startFailed, "/"};
    }
    while (const dirent* entry = ::readdir(folder)) {
        add(std::string("/") + static_cast<const char*>(entry->d_name));
    }
    ::closedir(folder);
}

void ProtectedItems::addHomes(uid_t user) {
    const passwd* own = ::getpwuid(user); // enumerating leaves out what a directory server has
    if (own != nullptr) {
        add(own->pw_dir);
    }
    ::setpwent();
    while (const passwd* account = ::getpwent()) {
        add(account->pw_dir);
    }
    ::endpwent();
}

void ProtectedItems::addMountPoints() {
    FILE* mounts = ::setmntent("/proc/self/mounts", "re");
    if (mounts == nullptr) {
        throw Refusal{Status::startFailed, "/proc/self/mounts"};
    }
    while (const mntent* mount = ::getmntent(mounts)) {
        add(mount->mnt_dir);
    }
    ::endmntent(mounts);
}

} // namespace platform::native::helper
