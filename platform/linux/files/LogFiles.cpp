#include "platform/linux/files/LogFiles.h"

#include "platform/foundation/Exception.h"
#include "platform/foundation/Path.h"
#include "platform/linux/files/WholeFiles.h"
#include "platform/linux/posix/Errors.h"
#include "platform/linux/posix/FileDescriptor.h"
#include "platform/linux/posix/FileSizeSignal.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace platform::native {

namespace {

/// The Error of a failed system call on the item at a path.
Error errorFor(int number, const std::string& path, std::string_view participle) {
    return posixError(number, path::lastComponent(path), participle);
}

/// The system takes a path only up to a zero, which would be another path.
bool isUsable(const std::string& path) {
    return !path.empty() && path.find('\0') == std::string::npos;
}

class AppendedFile : public LogFile {
public:
    AppendedFile(FileDescriptor descriptor, std::string path)
        : descriptor_(std::move(descriptor)), path_(std::move(path)) {}

    void append(std::string_view entry) override {
        holdBackFileSizeSignal();
        if (lineIsTorn_) {
            write("\n");
        }
        lineIsTorn_ = false;
        write(entry);
    }

private:
    /// The first write takes all unless the disk is full or the file as large as it may become;
    /// what comes after a part tells which.
    void write(std::string_view bytes) {
        while (!bytes.empty()) {
            const auto written = ::write(descriptor_.get(), bytes.data(), bytes.size());
            if (written < 0 && errno == EINTR) {
                continue;
            }
            if (written <= 0) {
                const int code = written < 0 ? errno : ENOSPC;
                throw Exception("NSFileHandleOperationException",
                                errorFor(code, path_, "written to").localizedDescription);
            }
            bytes.remove_prefix(static_cast<std::size_t>(written));
            lineIsTorn_ = !bytes.empty();
        }
    }

    FileDescriptor descriptor_;
    std::string path_;
    bool lineIsTorn_ = false;
};

/// Whether nobody but the current user and the superuser can have put this file where it is.
bool isTrusted(const struct stat& file) {
    const bool ownersFile = file.st_uid == ::geteuid() || file.st_uid == 0;
    return S_ISREG(file.st_mode) && ownersFile && file.st_nlink == 1;
}

} // namespace

bool LogFiles::exists(const std::string& path) {
    return isUsable(path) && ::access(path.c_str(), F_OK) == 0;
}

std::optional<Error> LogFiles::createFolder(const std::string& path) {
    std::error_code error;
    if (isUsable(path)) {
        std::filesystem::create_directories(path, error);
    } else {
        error = std::make_error_code(std::errc::invalid_argument);
    }
    if (error) {
        return errorFor(error.value(), path, "created");
    }
    return {};
}

std::optional<Error> LogFiles::removeItem(const std::string& path) {
    const int code = !isUsable(path) ? EINVAL : std::remove(path.c_str()) == 0 ? 0 : errno;
    if (code != 0) {
        return errorFor(code, path, "deleted");
    }
    return {};
}

std::optional<Error> LogFiles::moveItem(const std::string& path, const std::string& newPath) {
    int code = EINVAL;
    if (isUsable(path) && isUsable(newPath)) {
        code = ::renameat2(AT_FDCWD, path.c_str(), AT_FDCWD, newPath.c_str(), RENAME_NOREPLACE) == 0
                   ? 0
                   : errno;
        if (code == EINVAL || code == ENOSYS) { // a file system that has no such rename
            struct stat there {};
            code = ::lstat(newPath.c_str(), &there) == 0          ? EEXIST
                   : ::rename(path.c_str(), newPath.c_str()) == 0 ? 0
                                                                  : errno;
        }
    }
    if (code != 0) {
        return errorFor(code, path, "moved");
    }
    return {};
}

std::optional<Error> LogFiles::createEmptyFile(const std::string& path) {
    const int code = isUsable(path) ? replaceFile(path, "") : EINVAL;
    if (code == ENOENT) {
        return posixError(code, path::lastComponent(path), "created", "its folder doesn’t exist");
    }
    if (code != 0) {
        return errorFor(code, path, "created");
    }
    return {};
}

std::shared_ptr<LogFile> LogFiles::open(const std::string& path) {
    if (!isUsable(path)) {
        return nullptr;
    }
    // Without O_NONBLOCK a planted pipe would hold the opener until somebody reads from it.
    FileDescriptor descriptor(
        ::open(path.c_str(), O_WRONLY | O_APPEND | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    struct stat information {};
    if (!descriptor || ::fstat(descriptor.get(), &information) != 0 || !isTrusted(information)) {
        return nullptr;
    }
    return std::make_shared<AppendedFile>(std::move(descriptor), path);
}

} // namespace platform::native
