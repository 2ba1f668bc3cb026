#include "platform/linux/system/UserAccount.h"

#include "platform/foundation/Exception.h"
#include "platform/foundation/Path.h"
#include "platform/linux/posix/Errors.h"

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <vector>

namespace qf::native {

namespace {

AccountEntry entryOf(const passwd& entry) {
    const char* home = entry.pw_dir == nullptr ? "" : entry.pw_dir;
    return {entry.pw_uid, entry.pw_gid, entry.pw_name, home};
}

/// Repeats the query with larger and larger buffers for the entry's strings.
template <class Ask>
std::optional<AccountEntry> lookUp(Ask ask) {
    constexpr std::size_t firstSize = 1024;
    constexpr std::size_t largestSize = firstSize * 1024;
    for (std::size_t size = firstSize; size <= largestSize; size *= 2) {
        std::vector<char> buffer(size);
        passwd entry{};
        passwd* found = nullptr;
        if (ask(&entry, buffer.data(), buffer.size(), &found) == ERANGE) {
            continue;
        }
        return found == nullptr ? std::nullopt : std::optional(entryOf(*found));
    }
    return std::nullopt;
}

std::string withoutTrailingSlashes(const std::string& path) {
    return path::appending(path, "");
}

} // namespace

std::optional<AccountEntry> accountOf(uid_t userId) {
    return lookUp([userId](auto... room) { return ::getpwuid_r(userId, room...); });
}

std::optional<AccountEntry> accountNamed(const std::string& name) {
    return lookUp([&name](auto... room) { return ::getpwnam_r(name.c_str(), room...); });
}

std::vector<AccountEntry> allAccounts() {
    std::vector<AccountEntry> accounts;
    ::setpwent();
    for (;;) {
        errno = 0;
        const passwd* entry = ::getpwent();
        if (entry == nullptr) {
            break;
        }
        accounts.push_back(entryOf(*entry));
    }
    const Errno end(errno);
    ::endpwent();
    if (end.number() != 0 && end.number() != ENOENT) {
        throw Exception(exception_name::generic, "the accounts cannot be listed: " + reason(end));
    }
    return accounts;
}

std::string loginNameOf(uid_t userId) {
    const auto entry = accountOf(userId);
    return entry ? entry->name : std::to_string(userId);
}

std::optional<std::string> absolutePathFromEnvironment(const char* variable) {
    const char* value = std::getenv(variable);
    if (value == nullptr || *value != '/') {
        return std::nullopt;
    }
    return withoutTrailingSlashes(value);
}

std::string serviceManagerDirectory() {
    return absolutePathFromEnvironment("XDG_RUNTIME_DIR")
        .value_or("/run/user/" + std::to_string(::geteuid()));
}

unsigned UserAccount::realUserId() {
    return ::getuid();
}

std::string UserAccount::homeDirectory() {
    if (auto home = absolutePathFromEnvironment("HOME")) {
        return *home;
    }
    const auto entry = accountOf(::getuid());
    if (!entry || !entry->home.starts_with('/')) {
        return "/nonexistent";
    }
    return withoutTrailingSlashes(entry->home);
}

std::optional<std::string> UserAccount::otherOwnerOfHome() {
    struct stat status {};
    if (::stat(homeDirectory().c_str(), &status) != 0 || status.st_uid == ::getuid()) {
        return std::nullopt;
    }
    return loginNameOf(status.st_uid);
}

std::string UserAccount::loginName() {
    return loginNameOf(::getuid());
}

std::string UserAccount::temporaryDirectory() {
    struct stat status {};
    const auto directory = absolutePathFromEnvironment("TMPDIR");
    if (directory && ::stat(directory->c_str(), &status) == 0 && S_ISDIR(status.st_mode)) {
        return *directory;
    }
    return "/tmp";
}

std::optional<std::string> UserAccount::cacheDirectory() {
    if (auto directory = absolutePathFromEnvironment("XDG_CACHE_HOME")) {
        return directory;
    }
    return path::appending(homeDirectory(), ".cache");
}

std::string UserAccount::stateDirectory() {
    if (::getuid() == 0) {
        return "/var/lib";
    }
    if (auto directory = absolutePathFromEnvironment("XDG_STATE_HOME")) {
        return *directory;
    }
    return path::appending(homeDirectory(), ".local/state");
}

} // namespace qf::native
