#include "platform/linux/authorization/helper/ProtectedItems.h"

#include "platform/linux/authorization/helper/Refusal.h"

#include <dirent.h>
#include <fcntl.h>
#include <mntent.h>
#include <poll.h>
#include <pwd.h>

#include <cerrno>
#include <cstdio>
#include <memory>
#include <vector>

namespace qf::native::helper {

namespace {

/// A name, a path, a type and options. Each may have a page, four times as much where its
/// characters are written as numbers.
constexpr int longestMountLine = 4 * 4 * 4096;

/// Throws a Refusal if what has just told nothing more has failed. At its end, a list of accounts
/// may leave other errors than these.
void requireEndOfAccounts() {
    const Errno error = Errno::last();
    if (error.is(EIO) || error.is(EINTR) || error.is(EMFILE) || error.is(ENFILE) ||
        error.is(ENOMEM)) {
        throw Refusal{Status::startFailed, "the list of accounts"};
    }
}

} // namespace

ProtectedItems::ProtectedItems(uid_t user)
    : user_(user), mounts_(::open("/proc/self/mounts", O_RDONLY | O_CLOEXEC)) {
    if (!mounts_) {
        throw Refusal{Status::startFailed, "/proc/self/mounts"};
    }
}

bool ProtectedItems::contain(const Item& item) {
    pollfd change{mounts_.get(), POLLPRI, 0};
    areFound_ = areFound_ && ::poll(&change, 1, 0) == 0;
    if (!areFound_) {
        findAll();
        areFound_ = true;
    }
    return identities_.contains(item.identity());
}

void ProtectedItems::findAll() {
    identities_.clear();
    addTopLevel();
    addHomes(user_);
    addMountPoints();
}

void ProtectedItems::add(const std::string& path) {
    walk(path, [this](const Item& item) { identities_.insert(item.identity()); });
}

void ProtectedItems::addTopLevel() {
    const std::unique_ptr<DIR, int (*)(DIR*)> directory(::opendir("/"), ::closedir);
    if (!directory) {
        throw Refusal{Status::startFailed, "/"};
    }
    const dirent* entry = nullptr;
    while ((errno = 0, entry = ::readdir(directory.get())) != nullptr) {
        add(std::string("/") + static_cast<const char*>(entry->d_name));
    }
    if (errno != 0) {
        throw Refusal{Status::startFailed, "/"};
    }
}

void ProtectedItems::addHomes(uid_t user) {
    errno = 0;
    const passwd* account = ::getpwuid(user); // enumerating leaves out what a directory server has
    if (account != nullptr) {
        add(account->pw_dir);
    } else {
        requireEndOfAccounts();
    }
    ::setpwent();
    while ((errno = 0, account = ::getpwent()) != nullptr) {
        add(account->pw_dir);
    }
    requireEndOfAccounts();
    ::endpwent();
}

void ProtectedItems::addMountPoints() {
    const std::unique_ptr<FILE, int (*)(FILE*)> mounts(::setmntent("/proc/self/mounts", "re"),
                                                       ::endmntent);
    if (!mounts) {
        throw Refusal{Status::startFailed, "/proc/self/mounts"};
    }
    mntent mount{};
    std::vector<char> line(longestMountLine);
    while (::getmntent_r(mounts.get(), &mount, line.data(), longestMountLine) != nullptr) {
        add(mount.mnt_dir);
    }
    if (::ferror(mounts.get()) != 0) {
        throw Refusal{Status::startFailed, "/proc/self/mounts"};
    }
}

} // namespace qf::native::helper
