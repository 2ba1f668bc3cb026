#include "platform/linux/files/MovedItems.h"

#include "platform/linux/files/SpecialFiles.h"
#include "platform/linux/posix/Errors.h"
#include "platform/linux/posix/OpenDirectory.h"
#include "platform/linux/posix/SystemCall.h"

#include <fcntl.h>

#include <cerrno>

namespace qf::native {

namespace {

TreePlace placeOf(const MovedItems::Names& names) {
    auto place = TreePlace::top;
    for (const auto& name : names) {
        place = placeBelow(place, name);
    }
    return place;
}

bool isSameKind(const struct statx& one, const struct statx& other) {
    return ((one.stx_mode ^ other.stx_mode) & static_cast<unsigned>(S_IFMT)) == 0;
}

SystemResult<FileDescriptor> openForComparison(int directory, const std::string& name) {
    return opened(retryOnEintr([&] {
        return ::openat(directory, name.c_str(),
                        O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    }));
}

/// Returns the failure that says that an item has no copy, unless it has one.
SystemResult<void> unlessCopied(bool isCopied) {
    return isCopied ? SystemResult<void>() : Unexpected(changedMeanwhile);
}

} // namespace

SystemResult<void> MovedItems::check(int directory, const std::string& name,
                                     const struct statx& status,
                                     const std::function<Names()>& names) {
    if (copied_ != nullptr && copied_->contains(status)) {
        return {};
    }
    const auto path = names();
    if (copied_ != nullptr && !copied_->containsAtPlace(status, placeOf(path))) {
        return Unexpected(changedMeanwhile);
    }
    const auto parent = directoryOfCopy(path);
    if (!parent) {
        return Unexpected(failedWith(parent, ENOENT, ENOTDIR, ELOOP) ? changedMeanwhile
                                                                     : parent.error());
    }
    return compare({directory, name, status, *parent ? parent->get() : destination_,
                    path.empty() ? newName_ : path.back()});
}

/// Returns an empty descriptor for the top.
SystemResult<FileDescriptor> MovedItems::directoryOfCopy(const Names& names) const {
    if (names.empty()) {
        return FileDescriptor();
    }
    auto directory = openDirectory(destination_, newName_.c_str());
    for (std::size_t depth = 0; directory && depth + 1 < names.size(); ++depth) {
        directory = openDirectory(directory->get(), names[depth].c_str());
    }
    return directory;
}

SystemResult<void> MovedItems::compare(const Pair& pair) {
    const auto copy = statusOfEntry(pair.copyDirectory, pair.copyName);
    if (!copy) {
        return Unexpected(failedWith(copy, ENOENT) ? changedMeanwhile : copy.error());
    }
    const auto mode = pair.status.stx_mode;
    if (!isSameKind(pair.status, *copy)) {
        return Unexpected(changedMeanwhile);
    }
    if (S_ISREG(mode)) {
        return pair.status.stx_size == copy->stx_size ? compareFiles(pair)
                                                      : Unexpected(changedMeanwhile);
    }
    if (S_ISLNK(mode)) {
        const auto target = readLink({pair.directory, pair.name});
        const auto copied = readLink({pair.copyDirectory, pair.copyName});
        return unlessCopied(target && copied && *target == *copied);
    }
    const bool isDevice = S_ISCHR(mode) || S_ISBLK(mode);
    return unlessCopied(!isDevice || (pair.status.stx_rdev_major == copy->stx_rdev_major &&
                                      pair.status.stx_rdev_minor == copy->stx_rdev_minor));
}

SystemResult<void> MovedItems::compareFiles(const Pair& pair) {
    const auto file = openForComparison(pair.directory, pair.name);
    if (!file) {
        return Unexpected(file.error());
    }
    const auto copy = openForComparison(pair.copyDirectory, pair.copyName);
    if (!copy) {
        return Unexpected(copy.error());
    }
    if (!content_.compare(file->get(), copy->get())) {
        return Unexpected(changedMeanwhile);
    }
    const auto now = statusOf(file->get());
    return unlessCopied(now && now->stx_size == pair.status.stx_size &&
                        now->stx_mtime.tv_sec == pair.status.stx_mtime.tv_sec &&
                        now->stx_mtime.tv_nsec == pair.status.stx_mtime.tv_nsec);
}

} // namespace qf::native
