#include "platform/linux/files/AtomicFile.h"

#include "platform/foundation/Path.h"
#include "platform/linux/files/TemporaryItem.h"
#include "platform/linux/posix/FileDescriptor.h"
#include "platform/linux/posix/SystemCall.h"
#include "platform/linux/posix/WriteRest.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>

namespace qf::native {

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

SystemResult<void> syncFile(int file) {
    return checked(retryOnEintr([file] { return ::fsync(file); }));
}

} // namespace

SystemResult<void> writeAll(int file, std::string_view content) {
    if (auto written = writeRest(file, content); !written) {
        return written;
    }
    return syncFile(file);
}

std::optional<std::string> readFile(const std::string& path, std::size_t limit) {
    const auto file = openRegularFile(path, limit);
    if (!file) {
        return std::nullopt;
    }
    constexpr std::size_t blockSize = 65536;
    std::array<char, blockSize> block{};
    std::string content;
    for (;;) {
        const auto count =
            retryOnEintr([&] { return ::read(file.get(), block.data(), block.size()); });
        if (count < 0) {
            return std::nullopt;
        }
        if (count == 0) {
            return content;
        }
        content.append(block.data(), static_cast<std::size_t>(count));
        if (content.size() > limit) {
            return std::nullopt;
        }
    }
}

SystemResult<void> replaceFile(const std::string& path, std::string_view content,
                               const std::function<SystemResult<void>(int file)>& prepare) {
    const auto directoryPath = path::deletingLastComponent(path);
    const auto directory =
        opened(::open(directoryPath.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!directory) {
        return Unexpected(directory.error());
    }
    auto file = TemporaryItem::make(directory->get(), path::lastComponent(path), S_IFREG | 0644);
    if (!file) {
        return Unexpected(file.error());
    }
    if (auto written = writeRest(file->item().get(), content); !written) {
        return written;
    }
    if (auto prepared = prepare ? prepare(file->item().get()) : SystemResult<void>(); !prepared) {
        return prepared;
    }
    if (auto synced = syncFile(file->item().get()); !synced) {
        return synced;
    }
    if (auto replaced = file->replace(); !replaced) {
        return replaced;
    }
    // The new content is in place; that its name may not survive a crash is not a failure.
    static_cast<void>(::fsync(directory->get()));
    return {};
}

} // namespace qf::native
