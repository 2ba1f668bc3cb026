#include "platform/linux/WholeFiles.h"

#include "platform/foundation/Path.h"
#include "platform/linux/FileDescriptor.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <random>

namespace platform::native {

namespace {

FileDescriptor openRegularFile(const std::string& path, std::size_t limit) {
    FileDescriptor file(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    struct stat status {};
    if (!file || ::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode) ||
        static_cast<std::size_t>(status.st_size) > limit) {
        return {};
    }
    return file;
}

/// A name that nothing else is likely to have, short enough for every file system.
std::string temporaryName() {
    std::random_device random;
    constexpr std::string_view digits = "0123456789abcdef";
    std::string name = ".qf-";
    for (int i = 0; i < 16; ++i) {
        name += digits[random() % digits.size()];
    }
    return name;
}

} // namespace

int writeAll(int file, std::string_view content) {
    while (!content.empty()) {
        const auto written = ::write(file, content.data(), content.size());
        if (written < 0 && errno != EINTR) {
            return errno;
        }
        content.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(written, 0)));
    }
    return ::fsync(file) == 0 ? 0 : errno;
}

std::optional<std::string> contentOfFile(const std::string& path, std::size_t limit) {
    const auto file = openRegularFile(path, limit);
    if (!file) {
        return std::nullopt;
    }
    constexpr std::size_t blockSize = 65536;
    std::array<char, blockSize> block{};
    std::string content;
    for (;;) {
        const auto count = ::read(file.get(), block.data(), block.size());
        if (count == 0) {
            return content;
        }
        if (count > 0) {
            content.append(block.data(), static_cast<std::size_t>(count));
        }
        if ((count < 0 && errno != EINTR) || content.size() > limit) {
            return std::nullopt;
        }
    }
}

int replaceFile(const std::string& path, std::string_view content) {
    const auto folderPath = path::deletingLastComponent(path);
    const FileDescriptor folder(::open(folderPath.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!folder) {
        return errno;
    }
    constexpr mode_t mode = 0644;
    const auto temporary = temporaryName();
    const FileDescriptor file(::openat(folder.get(), temporary.c_str(),
                                       O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode));
    if (!file) {
        return errno;
    }
    int error = writeAll(file.get(), content);
    if (error == 0 && ::renameat(folder.get(), temporary.c_str(), folder.get(),
                                 path::lastComponent(path).c_str()) != 0) {
        error = errno;
    }
    if (error != 0) {
        ::unlinkat(folder.get(), temporary.c_str(), 0);
        return error;
    }
    // The new content stands by now; that its name may not outlive a crash is no failure.
    static_cast<void>(::fsync(folder.get()));
    return 0;
}

} // namespace platform::native
