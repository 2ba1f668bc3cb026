#include "platform/linux/files/FileStreams.h"

#include "platform/foundation/Path.h"
#include "platform/linux/files/Metadata.h"
#include "platform/linux/files/Preallocation.h"
#include "platform/linux/files/TemporaryItem.h"
#include "platform/linux/posix/FileDescriptor.h"
#include "platform/linux/posix/LongPath.h"
#include "platform/linux/posix/OpenDirectory.h"
#include "platform/linux/posix/SystemCall.h"
#include "platform/linux/posix/WriteRest.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string_view>
#include <utility>

namespace qf::native {

namespace {

constexpr std::uint64_t unknownSize = 0;

/// The error number for the spared file.
constexpr int sparedFile = ETXTBSY;

template <class T>
Unexpected<SystemError> reasonOf(const SystemResult<T>& failed) {
    return Unexpected(SystemError{failed.error().number()});
}

Result<void, SystemError> forCaller(const SystemResult<void>& result) {
    if (!result) {
        return reasonOf(result);
    }
    return {};
}

class Stream : public FileStream {
public:
    Stream(FileDescriptor descriptor, const FileId& identity, std::uint64_t expectedSize)
        : descriptor_(std::move(descriptor)), identity_(identity), preallocation_(expectedSize) {}
    ~Stream() override { preallocation_.release(descriptor_.get()); }
    Stream(const Stream&) = delete;
    Stream& operator=(const Stream&) = delete;
    Stream(Stream&&) = delete;
    Stream& operator=(Stream&&) = delete;

    std::size_t read(std::span<std::byte> buffer) override {
        std::size_t total = 0;
        while (total < buffer.size() && !isAtEnd_) {
            const auto count =
                ::read(descriptor_.get(), buffer.data() + total, buffer.size() - total);
            if (count > 0) {
                total += static_cast<std::size_t>(count);
                position_ += static_cast<std::uint64_t>(count);
            } else if (count == 0) {
                isAtEnd_ = true;
            } else if (errno != EINTR) {
                hasFailed_ = true;
                break;
            }
        }
        return total;
    }

    std::size_t write(std::span<const std::byte> bytes) override {
        preallocation_.reserve(descriptor_.get(), position_);
        std::string_view rest(reinterpret_cast<const char*>(bytes.data()), bytes.size());
        hasFailed_ = !writeRest(descriptor_.get(), rest) || hasFailed_;
        const auto total = bytes.size() - rest.size();
        position_ += total;
        return total;
    }

    Result<void, SystemError> seek(std::uint64_t position) override {
        const auto moved =
            checked(::lseek(descriptor_.get(), static_cast<off_t>(position), SEEK_SET));
        if (!moved) {
            return forCaller(moved);
        }
        position_ = position;
        isAtEnd_ = false;
        return {};
    }

    std::uint64_t position() const override { return position_; }

    /// Only regular files can be truncated, and an empty one need not be.
    Result<void, SystemError> makeEmpty() override {
        struct stat status {};
        if (const auto found = checked(::fstat(descriptor_.get(), &status)); !found) {
            return forCaller(found);
        }
        if (!S_ISREG(status.st_mode) || status.st_size == 0) {
            return {};
        }
        return forCaller(checked(::ftruncate(descriptor_.get(), 0)));
    }

    void beginSync() override {
        static_cast<void>(::sync_file_range(descriptor_.get(), 0, 0, SYNC_FILE_RANGE_WRITE));
    }

    Result<void, SystemError> sync() override {
        const auto synced =
            checked(retryOnEintr([this] { return ::fdatasync(descriptor_.get()); }));
        if (failedWith(synced, EINVAL)) { // there is no medium
            return {};
        }
        return forCaller(synced);
    }

    void dropCache() override {
        static_cast<void>(::posix_fadvise(descriptor_.get(), 0, 0, POSIX_FADV_DONTNEED));
    }

    bool isAtEnd() const override { return isAtEnd_; }
    int errorIndicator() const override { return hasFailed_ ? 1 : 0; }
    FileId identity() const override { return identity_; }

    Result<void, SystemError> copyMetadata(const FileStream& source) override {
        const int from = static_cast<const Stream&>(source).descriptor_.get();
        const int to = descriptor_.get();
        const auto status = statusOf(from);
        const auto own = statusOf(to);
        if (!status || !own) {
            return reasonOf(status ? own : status);
        }
        if (!S_ISREG(own->stx_mode)) { // a pipe or a device, which has other users
            return {};
        }
        // Closed to others until it has everything, also if that fails; and attributes can only be
        // set where the owner may write.
        static_cast<void>(::fchmod(to, S_IRUSR | S_IWUSR));
        dropInheritedAcls(to);
        return forCaller(native::copyMetadata(from, *status, to));
    }

    Result<void, SystemError> takeName() override { return {}; }

private:
    FileDescriptor descriptor_;
    FileId identity_;
    Preallocation preallocation_;
    std::uint64_t position_ = 0;
    bool isAtEnd_ = false;
    bool hasFailed_ = false;
};

/// A new file under a hidden name in the directory of the path that it is for.
class StreamBeside final : public Stream {
public:
    StreamBeside(FileDescriptor directory, TemporaryItem item, FileDescriptor descriptor,
                 const FileId& identity, std::uint64_t expectedSize)
        : Stream(std::move(descriptor), identity, expectedSize), directory_(std::move(directory)),
          item_(std::move(item)) {}

    Result<void, SystemError> takeName() override {
        if (auto synced = sync(); !synced) {
            return synced;
        }
        if (const auto replaced = item_.replace(); !replaced) {
            return forCaller(replaced);
        }
        const auto durable = checked(retryOnEintr([this] { return ::fsync(directory_.get()); }));
        return failedWith(durable, EINVAL, EOPNOTSUPP) ? Result<void, SystemError>()
                                                       : forCaller(durable);
    }

private:
    FileDescriptor directory_;
    TemporaryItem item_;
};

/// Returns the mode for a file that is to replace what the path leads to: that of a file, or the
/// usual one if there is nothing. Fails if it leads to `spared` or to something else than a file.
SystemResult<mode_t> modeOfReplacement(const std::string& path, const FileId& spared) {
    constexpr mode_t usual = 0666;
    constexpr mode_t rights = 0777;
    struct stat status {};
    const auto found = atPath(path, [&status](int directory, const char* rest) {
        return ::fstatat(directory, rest, &status, 0);
    });
    if (failedWith(found, ENOENT)) {
        return usual;
    }
    if (!found) {
        return Unexpected(found.error());
    }
    if (fileIdOf(status) == spared) {
        return Unexpected(Errno(sparedFile));
    }
    if (!S_ISREG(status.st_mode)) {
        return Unexpected(Errno(EINVAL));
    }
    return status.st_mode & rights;
}

SystemResult<FileDescriptor> openFile(const std::string& path, int flags) {
    constexpr mode_t mode = 0666;
    const auto descriptor = atPath(path, [flags](int directory, const char* rest) {
        return retryOnEintr(
            [&] { return ::openat(directory, rest, flags | O_NOCTTY | O_CLOEXEC, mode); });
    });
    if (!descriptor) {
        return Unexpected(descriptor.error());
    }
    return FileDescriptor(*descriptor);
}

} // namespace

OpenedStream FileStreams::openForReading(const std::string& path) {
    auto file = openFile(path, O_RDONLY);
    if (!file) {
        return reasonOf(file);
    }
    const auto status = statusOf(file->get());
    if (!status) {
        return reasonOf(status);
    }
    static_cast<void>(::posix_fadvise(file->get(), 0, 0, POSIX_FADV_SEQUENTIAL));
    return std::make_unique<Stream>(*std::move(file), fileIdOf(*status), unknownSize);
}

OpenedStream FileStreams::openForUpdating(const std::string& path, const FileId& spared,
                                          std::uint64_t expectedSize) {
    auto file = openFile(path, O_RDWR | O_CREAT);
    if (!file) {
        return reasonOf(file);
    }
    const auto status = statusOf(file->get());
    if (!status) {
        return reasonOf(status);
    }
    if (fileIdOf(*status) == spared) {
        return Unexpected(SystemError{sparedFile});
    }
    return std::make_unique<Stream>(*std::move(file), fileIdOf(*status),
                                    S_ISREG(status->stx_mode) ? expectedSize : unknownSize);
}

OpenedStream FileStreams::openBeside(const std::string& path, const FileId& spared,
                                     std::uint64_t expectedSize) {
    const auto mode = modeOfReplacement(path, spared);
    if (!mode) {
        return reasonOf(mode);
    }
    auto directory = openAtPath(path::deletingLastComponent(path), O_RDONLY | O_DIRECTORY);
    if (!directory) {
        return reasonOf(directory);
    }
    auto item = TemporaryItem::make(directory->get(), path::lastComponent(path), S_IFREG | *mode);
    if (!item) {
        return reasonOf(item);
    }
    auto file = opened(::fcntl(item->item().get(), F_DUPFD_CLOEXEC, 0));
    if (!file) {
        return reasonOf(file);
    }
    const auto status = statusOf(file->get());
    if (!status) {
        return reasonOf(status);
    }
    return std::make_unique<StreamBeside>(*std::move(directory), *std::move(item), *std::move(file),
                                          fileIdOf(*status), expectedSize);
}

OpenedStream FileStreams::openExisting(const std::string& path, FileAccess access) {
    const int flags = access == FileAccess::reading ? O_RDONLY : O_RDWR;
    auto file = openAtPath(path, flags | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY);
    if (!file) {
        return reasonOf(file);
    }
    const auto status = statusOf(file->get());
    if (!status) {
        return reasonOf(status);
    }
    if (!S_ISREG(status->stx_mode)) {
        return Unexpected(SystemError{EINVAL});
    }
    return std::make_unique<Stream>(*std::move(file), fileIdOf(*status), unknownSize);
}

} // namespace qf::native
