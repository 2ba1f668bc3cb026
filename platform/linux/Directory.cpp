#include "platform/linux/Directory.h"

#include <cerrno>
#include <string_view>

namespace platform::native {

Directory::Directory(FileDescriptor folder) {
    if (!folder) {
        return;
    }
    stream_.reset(::fdopendir(folder.get()));
    if (stream_) {
        folder.release();
    }
}

std::optional<Directory::Entry> Directory::next() {
    errno = 0;
    while (const dirent* entry = ::readdir(stream_.get())) {
        const std::string_view name = static_cast<const char*>(entry->d_name);
        if (name != "." && name != "..") {
            return Entry{std::string(name), entry->d_type == DT_DIR};
        }
        errno = 0;
    }
    error_ = errno;
    return std::nullopt;
}

} // namespace platform::native
