#include "platform/linux/system/LoginAccounts.h"

#include "platform/foundation/Exception.h"
#include "platform/linux/posix/Errors.h"
#include "platform/linux/posix/SystemCall.h"

#include <linux/keyctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <map>
#include <optional>
#include <set>
#include <sstream>
#include <utility>

namespace qf::native {

namespace {

constexpr const char* loginDefinitions = "/etc/login.defs";
constexpr const char* accountChanger = "/usr/bin/setpriv";
constexpr const char* searchPath = "/usr/local/bin:/usr/bin:/bin";
constexpr uid_t superuser = 0;
constexpr auto noUser = static_cast<uid_t>(-1);
/// To the system calls that change the group, this means no change.
constexpr auto noGroup = static_cast<gid_t>(-1);

/// What a child is told of this process's environment.
constexpr const char* languageVariables[] = {"LANG", "LC_ALL", "LC_CTYPE"};

std::string whyNot(const AccountEntry& entry, const struct stat& home) {
    if (entry.groupId == noGroup) {
        return "its group has no valid number";
    }
    if (!S_ISDIR(home.st_mode)) {
        return "its home folder " + entry.home + " is no folder";
    }
    return home.st_uid == entry.userId
               ? std::string()
               : "its home folder " + entry.home + " belongs to " + loginNameOf(home.st_uid);
}

/// Replaces the keyring of the superuser's session by an empty one, for this thread and what it
/// launches. Throws qf::Exception if the system cannot.
void leaveKeys() {
    const auto left =
        checked(static_cast<int>(::syscall(SYS_keyctl, KEYCTL_JOIN_SESSION_KEYRING, nullptr)));
    // Without keyrings there are no keys; where calls of them are forbidden, the child cannot use
    // them either.
    if (!left && !failedWith(left, ENOSYS, EPERM)) {
        throw Exception(exception_name::generic,
                        "the keys of the session cannot be left: " + reason(left.error()));
    }
}

std::map<std::string, std::string> environmentOf(const LoginAccount& account) {
    std::map<std::string, std::string> variables{{"HOME", account.home},
                                                 {"USER", account.name},
                                                 {"LOGNAME", account.name},
                                                 {"PATH", searchPath}};
    for (const char* name : languageVariables) {
        if (const char* value = std::getenv(name)) {
            variables[name] = value;
        }
    }
    struct stat status {};
    const auto runtime = "/run/user/" + std::to_string(account.userId);
    if (::lstat(runtime.c_str(), &status) == 0 && S_ISDIR(status.st_mode) &&
        status.st_uid == account.userId) {
        variables["XDG_RUNTIME_DIR"] = runtime;
    }
    return variables;
}

/// Returns the number that a value of the definitions has, in quotes or not: decimal, octal after
/// "0", hexadecimal after "0x".
std::optional<uid_t> userId(std::string value) {
    std::erase(value, '"');
    char* end = nullptr;
    errno = 0;
    const auto number = std::strtoul(value.c_str(), &end, 0);
    const bool isWhole = !value.empty() && *end == '\0' && value.front() != '-';
    return isWhole && errno == 0 && number < noUser ? std::optional(static_cast<uid_t>(number))
                                                    : std::nullopt;
}

} // namespace

UserIdRange userIdRange(const std::string& definitions) {
    UserIdRange range;
    std::ifstream file(definitions);
    for (std::string line; std::getline(file, line);) {
        std::istringstream words(line);
        std::string name;
        std::string value;
        if (words >> name >> value) {
            if (name == "UID_MIN") {
                range.least = userId(value).value_or(range.least);
            } else if (name == "UID_MAX") {
                range.most = userId(value).value_or(range.most);
            }
        }
    }
    return range;
}

std::vector<LoginAccount> loginAccounts(std::vector<AccountEntry> entries,
                                        const UserIdRange& people) {
    std::ranges::stable_sort(entries, {}, &AccountEntry::userId);
    std::vector<LoginAccount> accounts;
    std::set<std::pair<dev_t, ino_t>> homes;
    for (const auto& entry : entries) {
        const bool isSuperuser = entry.userId == superuser;
        if (!isSuperuser && (entry.userId < people.least || !entry.home.starts_with('/'))) {
            continue;
        }
        struct stat home {};
        const auto found = checked(::stat(entry.home.c_str(), &home));
        if (failedWith(found, ENOENT, ENOTDIR) && !isSuperuser) {
            continue;
        }
        const auto obstacle = found ? whyNot(entry, home)
                                    : "its home folder " + entry.home +
                                          " cannot be looked at because " + reason(found.error());
        if (found && !obstacle.empty() && entry.userId > people.most) {
            continue;
        }
        if (!obstacle.empty() || homes.emplace(home.st_dev, home.st_ino).second) {
            accounts.push_back({entry.userId, entry.groupId, entry.name, entry.home, obstacle});
        }
    }
    return accounts;
}

std::vector<LoginAccount> LoginAccounts::all() {
    return loginAccounts(allAccounts(), userIdRange(loginDefinitions));
}

ProcessDescription LoginAccounts::programAs(const LoginAccount& account, const std::string& program,
                                            std::vector<std::string> arguments) {
    leaveKeys();
    // The signs: digits alone could be the name of another account.
    arguments.insert(arguments.begin(), {"--reuid=+" + std::to_string(account.userId),
                                         "--regid=+" + std::to_string(account.groupId),
                                         "--init-groups", "--inh-caps=-all", "--", program});
    ProcessDescription description;
    description.launchPath = accountChanger;
    description.arguments = std::move(arguments);
    description.environment = environmentOf(account);
    description.standardInput = ChildStream::nullDevice();
    description.leavesTerminal = true;
    return description;
}

} // namespace qf::native
