#include "platform/linux/files/TemporaryItem.h"

#include "platform/linux/files/TreeRemoval.h"
#include "platform/linux/posix/OpenFolder.h"
#include "platform/linux/posix/Rename.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cinttypes>
#include <cstdio>

namespace platform::native {

namespace {

/// How many processes can copy to one name at a time.
constexpr int mostClaims = 100;

/// All that is in a temporary item is the copier's own.
constexpr RemovalRules ownCopy{.unlocksFolders = true};

/// A hidden name that two processes with the same purpose agree on, short enough for every file
/// system: the purpose's FNV-1a digest and the number of the try.
std::string temporaryName(const std::string& purpose, int count) {
    std::uint64_t digest = 0xCBF29CE484222325U;
    for (const char c : purpose) {
        digest = (digest ^ static_cast<unsigned char>(c)) * 0x100000001B3U;
    }
    std::array<char, 48> name{};
    std::snprintf(name.data(), name.size(), ".qf-%016" PRIx64 "-%d", digest, count);
    return name.data();
}

FileDescriptor makeItem(int folder, const std::string& name, mode_t mode) {
    const mode_t permissions = mode & ACCESSPERMS;
    if (!S_ISDIR(mode)) {
        return FileDescriptor(::openat(
            folder, name.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, permissions));
    }
    if (::mkdirat(folder, name.c_str(), permissions) != 0) {
        return {};
    }
    auto item = openFolder(folder, name.c_str());
    if (!item && errno == ENOENT) { // Another process has taken it for an abandoned one.
        errno = EEXIST;
    } else if (!item) {
        const int error = errno;
        ::unlinkat(folder, name.c_str(), AT_REMOVEDIR);
        errno = error;
    }
    return item;
}

/// Whether an open item is the entry `name` of an open folder. Gives 0, ENOENT when it is not, or
/// another errno.
int checkName(const FileDescriptor& item, int folder, const std::string& name) {
    struct statx own {};
    struct statx named {};
    if (const int error = statusOf(item.get(), own); error != 0) {
        return error;
    }
    if (const int error = statusOfEntry(folder, name, named); error != 0) {
        return error;
    }
    return identityOf(own) == identityOf(named) ? 0 : ENOENT;
}

bool isLockedByOthers(const FileDescriptor& item) {
    return ::flock(item.get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK;
}

} // namespace

TemporaryItem::TemporaryItem(int folder, const std::string& purpose, mode_t mode)
    : folder_(folder), purpose_(purpose), error_(EEXIST) {
    for (int count = 1; count <= mostClaims && error_ == EEXIST; ++count) {
        const auto name = temporaryName(purpose, count);
        if (claim(name, mode) || (error_ == EEXIST && removeAbandoned(name) && claim(name, mode))) {
            return;
        }
    }
}

/// False, with the reason in error_, when the name is taken (EEXIST) or the item cannot be made.
bool TemporaryItem::claim(const std::string& name, mode_t mode) {
    item_ = makeItem(folder_, name, mode);
    if (!item_) {
        error_ = errno;
        return false;
    }
    // Another process may have taken the item for an abandoned one before it was locked.
    error_ = isLockedByOthers(item_) ? EEXIST : checkName(item_, folder_, name);
    if (error_ == ENOENT) {
        error_ = EEXIST;
    }
    if (error_ == EEXIST) {
        item_.reset();
    } else {
        name_ = name;
    }
    return error_ == 0;
}

bool TemporaryItem::removeAbandoned(const std::string& name) const {
    const FileDescriptor item(
        ::openat(folder_, name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    struct statx status {};
    return item && statusOf(item.get(), status) == 0 && status.stx_uid == ::geteuid() &&
           ::flock(item.get(), LOCK_EX | LOCK_NB) == 0 && checkName(item, folder_, name) == 0 &&
           !removeTree(folder_, name, ownCopy);
}

TemporaryItem::~TemporaryItem() {
    if (!name_.empty()) {
        static_cast<void>(removeTree(folder_, name_, ownCopy));
    }
}

int TemporaryItem::rename() {
    return renamed(renameWithoutReplacing(folder_, name_, folder_, purpose_));
}

int TemporaryItem::replace() {
    const bool done = ::renameat(folder_, name_.c_str(), folder_, purpose_.c_str()) == 0;
    return renamed(done ? 0 : errno);
}

/// Takes note of what became of a rename, and gives that.
int TemporaryItem::renamed(int error) {
    if (error == 0) {
        name_.clear();
    }
    return error;
}

void TemporaryItem::takeBack() {
    const auto name = temporaryName(purpose_, mostClaims + 1);
    if (checkName(item_, folder_, purpose_) == 0 &&
        renameWithoutReplacing(folder_, purpose_, folder_, name) == 0) {
        name_ = name;
    }
}

} // namespace platform::native
