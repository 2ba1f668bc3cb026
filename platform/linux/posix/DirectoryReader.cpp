#include "platform/linux/posix/DirectoryReader.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <string_view>

namespace qf::native {

namespace {

/// Returns the kind of an entry, which the directory itself may not record.
ItemKind kindOf(int directory, const dirent& entry) {
    if (entry.d_type != DT_UNKNOWN) {
        return itemKind(static_cast<mode_t>(DTTOIF(entry.d_type)));
    }
    struct stat status {};
    const char* name = static_cast<const char*>(entry.d_name);
    return ::fstatat(directory, name, &status, AT_SYMLINK_NOFOLLOW) == 0 ? itemKind(status.st_mode)
                                                                         : ItemKind::other;
}

} // namespace

ItemKind itemKind(mode_t mode) {
    if (S_ISREG(mode)) {
        return ItemKind::file;
    }
    if (S_ISDIR(mode)) {
        return ItemKind::directory;
    }
    return S_ISLNK(mode) ? ItemKind::link : ItemKind::other;
}

SystemResult<DirectoryReader> DirectoryReader::of(FileDescriptor directory) {
    DIR* stream = ::fdopendir(directory.get());
    if (stream == nullptr) {
        return Unexpected(Errno::last());
    }
    directory.release();
    return DirectoryReader(stream);
}

SystemResult<std::optional<DirectoryEntry>> DirectoryReader::next() {
    errno = 0;
    while (const dirent* entry = ::readdir(stream_.get())) {
        const std::string_view name = static_cast<const char*>(entry->d_name);
        if (name != "." && name != "..") {
            return std::optional(DirectoryEntry{std::string(name), kindOf(descriptor(), *entry)});
        }
        errno = 0;
    }
    if (errno != 0) {
        return Unexpected(Errno::last());
    }
    return std::nullopt;
}

} // namespace qf::native
