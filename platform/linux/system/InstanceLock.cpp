#include "platform/InstanceLock.h"

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <optional>
#include <string>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace qf {

namespace {

constexpr mode_t ownerOnly = S_IRUSR | S_IWUSR;

bool isOwnDirectory(const std::string& path) {
    struct stat status = {};
    return ::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode) &&
           status.st_uid == ::geteuid();
}

/// Returns the user's runtime directory. A process that was not told of it, such as one that cron
/// started, finds it by the user's number.
std::optional<std::string> runtimeDirectory() {
    const char* named = std::getenv("XDG_RUNTIME_DIR");
    if (named != nullptr && *named == '/' && isOwnDirectory(named)) {
        return named;
    }
    auto usual = "/run/user/" + std::to_string(::geteuid());
    return isOwnDirectory(usual) ? std::optional(std::move(usual)) : std::nullopt;
}

std::string lockPath(const std::string& name) {
    if (const auto runtime = runtimeDirectory()) {
        return *runtime + '/' + name + ".lock";
    }
    return "/tmp/" + name + '-' + std::to_string(::geteuid()) + ".lock";
}

bool isOwnFile(int file) {
    struct stat status = {};
    return ::fstat(file, &status) == 0 && S_ISREG(status.st_mode) && status.st_uid == ::geteuid();
}

/// Returns the open file, or -1 if it cannot be opened or is not the user's own.
int openOwnFile(const std::string& path) {
    const int file =
        ::open(path.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, ownerOnly);
    if (file >= 0 && !isOwnFile(file)) {
        ::close(file);
        return -1;
    }
    return file;
}

} // namespace

InstanceLock::InstanceLock(const std::string& applicationName)
    : path_(lockPath(applicationName)), file_(openOwnFile(path_)),
      heldByAnother_(file_ >= 0 && ::flock(file_, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) {
}

void InstanceLock::waitUntilHeld() {
    while (::flock(file_, LOCK_EX) != 0 && errno == EINTR) {
    }
    heldByAnother_ = false;
}

void InstanceLock::touch() const {
    ::futimens(file_, nullptr);
}

InstanceLock::~InstanceLock() {
    if (file_ >= 0) {
        ::close(file_);
    }
}

} // namespace qf
