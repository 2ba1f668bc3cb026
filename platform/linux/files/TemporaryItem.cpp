#include "platform/linux/files/TemporaryItem.h"

#include "platform/linux/files/TreeRemoval.h"
#include "platform/linux/posix/DirectoryReader.h"
#include "platform/linux/posix/OpenDirectory.h"
#include "platform/linux/posix/Rename.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <string_view>

namespace qf::native {

namespace {

/// The number of processes that can copy to one name at a time.
constexpr int mostClaims = 100;

constexpr std::string_view namePrefix = ".qf-";
constexpr std::string_view markPrefix = ".qf-mark-";

// Only root can set and read it.
constexpr const char* rootsMark = "trusted.qf.temporary";

/// The contents of a temporary item are the copier's own.
constexpr RemovalRules ownCopy{.unlocksDirectories = true};

/// Returns a hidden name that processes with the same purpose agree on, short enough for every file
/// system: the purpose's FNV-1a hash and the number of the try.
std::string temporaryName(std::string_view prefix, const std::string& purpose, int count) {
    std::uint64_t digest = 0xCBF29CE484222325U;
    for (const char c : purpose) {
        digest = (digest ^ static_cast<unsigned char>(c)) * 0x100000001B3U;
    }
    std::array<char, 48> suffix{};
    std::snprintf(suffix.data(), suffix.size(), "%016" PRIx64 "-%d", digest, count);
    return std::string(prefix) + suffix.data();
}

/// Returns whether temporaryName() may have made the name.
bool isTemporaryName(std::string_view name) {
    constexpr std::size_t digits = 16;
    const auto prefix = name.starts_with(markPrefix) ? markPrefix : namePrefix;
    if (!name.starts_with(prefix) || name.size() < prefix.size() + digits + 2) {
        return false;
    }
    const auto digest = name.substr(prefix.size(), digits);
    const auto rest = name.substr(prefix.size() + digits);
    return digest.find_first_not_of("0123456789abcdef") == std::string_view::npos &&
           rest.front() == '-' &&
           rest.substr(1).find_first_not_of("0123456789") == std::string_view::npos;
}

SystemResult<FileDescriptor> makeItem(int directory, const std::string& name, mode_t mode) {
    const mode_t permissions = mode & ACCESSPERMS;
    if (!S_ISDIR(mode)) {
        return opened(
            ::openat(directory, name.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, permissions));
    }
    if (const auto made = checked(::mkdirat(directory, name.c_str(), permissions)); !made) {
        return Unexpected(made.error());
    }
    auto item = openDirectory(directory, name.c_str());
    if (failedWith(item, ENOENT)) { // Another process took it for an abandoned one.
        return Unexpected(Errno(EEXIST));
    }
    if (!item) {
        ::unlinkat(directory, name.c_str(), AT_REMOVEDIR);
    }
    return item;
}

/// Checks that an open item is the entry `name` of an open directory; ENOENT if it is not.
SystemResult<void> checkName(const FileDescriptor& item, int directory, const std::string& name) {
    const auto own = statusOf(item.get());
    if (!own) {
        return Unexpected(own.error());
    }
    const auto named = statusOfEntry(directory, name);
    if (!named) {
        return Unexpected(named.error());
    }
    if (fileIdOf(*own) != fileIdOf(*named)) {
        return Unexpected(Errno(ENOENT));
    }
    return {};
}

/// Returns whether this is the superuser, and another user may give the superuser's own items in an
/// open directory the name of a temporary one.
bool isRootAmongOthers(int directory) {
    if (::geteuid() != 0) {
        return false;
    }
    const auto status = statusOf(directory);
    const bool isRoots =
        status && status->stx_uid == 0 &&
        ((status->stx_mode & (S_IWGRP | S_IWOTH)) == 0 || (status->stx_mode & S_ISVTX) != 0);
    return !isRoots;
}

/// Returns whether an item that has the name of a temporary one was made as one.
bool isMadeHere(int directory, const FileDescriptor& item) {
    return !isRootAmongOthers(directory) || ::fgetxattr(item.get(), rootsMark, nullptr, 0) >= 0;
}

bool isLockedByOthers(const FileDescriptor& item) {
    return ::flock(item.get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK;
}

/// Opens and locks the entry `name` of an open directory if it is a temporary item that a killed
/// process of this user has left; otherwise returns an empty descriptor.
FileDescriptor lockAbandoned(int directory, const std::string& name) {
    FileDescriptor item(::openat(directory, name.c_str(),
                                 O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (!item) {
        return item;
    }
    const auto status = statusOf(item.get());
    // A whole copy has the source's date of modification before it gets its name.
    const bool isAbandoned =
        status && status->stx_uid == ::geteuid() && isMadeHere(directory, item) &&
        lockIfAbandoned(item, status->stx_ctime.tv_sec) && checkName(item, directory, name);
    return isAbandoned ? std::move(item) : FileDescriptor();
}

/// Returns whether an item is what a mark is. A directory that somebody gave the name of one is not
/// to be removed.
bool isEmptyFile(const FileDescriptor& item) {
    const auto status = statusOf(item.get());
    return status && S_ISREG(status->stx_mode) && status->stx_size == 0;
}

bool removeIfAbandoned(int directory, const std::string& name) {
    const auto item = lockAbandoned(directory, name);
    return item && removeTree(directory, name, ownCopy);
}

} // namespace

bool isOverADayAgo(std::time_t moment) {
    constexpr std::time_t day = 24L * 60 * 60;
    return std::time(nullptr) - moment > day;
}

bool lockIfAbandoned(const FileDescriptor& item, std::time_t changed) {
    return ::flock(item.get(), LOCK_EX | LOCK_NB) == 0 ||
           (errno != EWOULDBLOCK && isOverADayAgo(changed));
}

SystemResult<TemporaryItem> TemporaryItem::make(int directory, const std::string& purpose,
                                                mode_t mode) {
    TemporaryItem item(directory, purpose);
    const auto claimed = item.claimAny(namePrefix, mode);
    return claimed ? SystemResult<TemporaryItem>(std::move(item)) : Unexpected(claimed.error());
}

SystemResult<TemporaryItem> TemporaryItem::makeMark(int directory, const std::string& purpose) {
    TemporaryItem item(directory, purpose);
    const auto claimed = item.claimAny(markPrefix, S_IFREG | S_IRUSR);
    return claimed ? SystemResult<TemporaryItem>(std::move(item)) : Unexpected(claimed.error());
}

/// Claims the first hidden name that is free, or becomes free when an abandoned item is deleted.
SystemResult<void> TemporaryItem::claimAny(std::string_view prefix, mode_t mode) {
    SystemResult<void> claimed = Unexpected(Errno(EEXIST));
    for (int count = 1; count <= mostClaims && failedWith(claimed, EEXIST); ++count) {
        const auto name = temporaryName(prefix, purpose_, count);
        claimed = claim(name, mode);
        if (failedWith(claimed, EEXIST) && removeIfAbandoned(directory_, name)) {
            claimed = claim(name, mode);
        }
    }
    return claimed;
}

/// EEXIST if the name is taken.
SystemResult<void> TemporaryItem::claim(const std::string& name, mode_t mode) {
    auto item = makeItem(directory_, name, mode);
    if (!item) {
        return Unexpected(item.error());
    }
    // Another process may have taken the item for an abandoned one before it was locked.
    if (isLockedByOthers(*item)) {
        return Unexpected(Errno(EEXIST));
    }
    auto own = checkName(*item, directory_, name);
    if (failedWith(own, ENOENT)) {
        return Unexpected(Errno(EEXIST));
    }
    item_ = *std::move(item);
    name_ = name;
    if (isRootAmongOthers(directory_)) { // Without the mark, what a kill leaves stays.
        isMarked_ = ::fsetxattr(item_.get(), rootsMark, "", 0, 0) == 0;
    }
    return own;
}

bool TemporaryItem::isMark(const std::string& name) {
    return name.starts_with(markPrefix);
}

void TemporaryItem::removeAbandoned(int directory, const Examine& examine) {
    auto opened = openDirectory(directory, ".");
    if (!opened) {
        return;
    }
    auto reader = DirectoryReader::of(*std::move(opened));
    auto entry = reader ? reader->next() : Unexpected(reader.error());
    for (; entry && *entry; entry = reader->next()) {
        const auto& name = (*entry)->name;
        if (!isTemporaryName(name)) {
            continue;
        }
        if (const auto item = lockAbandoned(directory, name); item && examine(item, name)) {
            static_cast<void>(removeTree(directory, name, ownCopy));
        }
    }
}

void TemporaryItem::removeAbandonedCopies(int directory) {
    removeAbandoned(directory,
                    [](const auto& /*item*/, const std::string& name) { return !isMark(name); });
}

std::optional<TemporaryItem> TemporaryItem::adoptMark(int directory, const std::string& purpose) {
    for (int count = 1; count <= mostClaims; ++count) {
        auto name = temporaryName(markPrefix, purpose, count);
        if (!statusOfEntry(directory, name)) {
            break;
        }
        if (auto left = lockAbandoned(directory, name); left && isEmptyFile(left)) {
            TemporaryItem item(directory, purpose);
            item.item_ = std::move(left);
            item.name_ = std::move(name);
            return item;
        }
    }
    return std::nullopt;
}

/// Nobody may come by later to remove it, so what fails is tried again. Another item may have been
/// given its name.
TemporaryItem::~TemporaryItem() {
    constexpr int attempts = 2;
    bool isLeft = !name_.empty();
    for (int attempt = 0; attempt < attempts && isLeft && checkName(item_, directory_, name_);
         ++attempt) {
        isLeft = !removeTree(directory_, name_, ownCopy);
    }
}

SystemResult<void> TemporaryItem::rename(const std::string& name) {
    auto done = removeMark();
    if (done) {
        done = renameWithoutReplacing({directory_, name_}, {directory_, name});
    }
    return renamed(name, done);
}

SystemResult<void> TemporaryItem::replace() {
    auto done = removeMark();
    if (done) {
        done = checked(::renameat(directory_, name_.c_str(), directory_, purpose_.c_str()));
    }
    return renamed(purpose_, done);
}

/// The item is not to keep the mark under its final name.
SystemResult<void> TemporaryItem::removeMark() {
    auto done = SystemResult<void>();
    if (isMarked_) {
        done = checked(::fremovexattr(item_.get(), rootsMark));
        isMarked_ = !done;
    }
    return done;
}

/// Records the outcome of a rename, and returns it.
SystemResult<void> TemporaryItem::renamed(const std::string& name,
                                          const SystemResult<void>& result) {
    if (result) {
        purpose_ = name;
        name_.clear();
    }
    return result;
}

void TemporaryItem::takeBack() {
    const auto name = temporaryName(namePrefix, purpose_, mostClaims + 1);
    if (checkName(item_, directory_, purpose_) &&
        renameWithoutReplacing({directory_, purpose_}, {directory_, name})) {
        name_ = name;
    }
}

} // namespace qf::native
