#include "platform/linux/posix/Directory.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <string_view>

namespace platform::native {

namespace {

/// What an entry is; the folder itself need not know.
ItemKind kindOf(int folder, const dirent& entry) {
    if (entry.d_type != DT_UNKNOWN) {
        return itemKind(static_cast<mode_t>(DTTOIF(entry.d_type)));
    }
    struct stat status {};
    const char* name = static_cast<const char*>(entry.d_name);
    return ::fstatat(folder, name, &status, AT_SYMLINK_NOFOLLOW) == 0 ? itemKind(status.st_mode)
                                                                      : ItemKind::other;
}

} // namespace

ItemKind itemKind(mode_t mode) {
    if (S_ISREG(mode)) {
        return ItemKind::file;
    }
    if (S_ISDIR(mode)) {
        return ItemKind::folder;
    }
    return S_ISLNK(mode) ? ItemKind::link : ItemKind::other;
}

Directory::Directory(FileDescriptor folder) {
    if (!folder) {
        return;
    }
    stream_.reset(::fdopendir(folder.get()));
    if (stream_) {
        folder.release();
    }
}

std::optional<DirectoryEntry> Directory::next() {
    errno = 0;
    while (const dirent* entry = ::readdir(stream_.get())) {
        const std::string_view name = static_cast<const char*>(entry->d_name);
        if (name != "." && name != "..") {
            return DirectoryEntry{std::string(name), kindOf(descriptor(), *entry)};
        }
        errno = 0;
    }
    error_ = errno;
    return std::nullopt;
}

} // namespace platform::native
