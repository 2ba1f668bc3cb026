// chown OWNER[:GROUP] | :GROUP FILE...
//
// It may run as the superuser on a path that others can change: a link at the end of the path, even
// with trailing slashes, is refused, not followed. It reads only the account database and the
// command line. Every argument after the first is a path, whatever it looks like.

#include "platform/linux/posix/Errors.h"
#include "platform/linux/posix/FileDescriptor.h"
#include "platform/linux/tools/Tool.h"

#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>

#include <charconv>
#include <optional>

namespace {

using qf::native::Errno;
using qf::native::FileDescriptor;
using qf::native::reason;
namespace tool = qf::native::tool;

/// In place of an id: leave it unchanged.
constexpr auto unchanged = static_cast<id_t>(-1);

struct Ownership {
    uid_t owner = unchanged;
    gid_t group = unchanged;
};

std::optional<id_t> number(const std::string& text) {
    id_t value = 0;
    const auto* const end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, value);
    const bool isNumber = result.ec == std::errc() && result.ptr == end && value != unchanged;
    return isNumber ? std::optional(value) : std::nullopt;
}

uid_t ownerNamed(const std::string& name) {
    if (const auto* account = ::getpwnam(name.c_str())) {
        return account->pw_uid;
    }
    if (const auto owner = number(name)) {
        return *owner;
    }
    throw tool::ToolError("there is no user “" + name + "”");
}

/// Returns a group by name or number. "wheel", the administrators' group that owns job files on
/// other systems, is group 0.
gid_t groupNamed(const std::string& name) {
    if (const auto* group = ::getgrnam(name.c_str())) {
        return group->gr_gid;
    }
    if (name == "wheel") {
        return 0;
    }
    if (const auto group = number(name)) {
        return *group;
    }
    throw tool::ToolError("there is no group “" + name + "”");
}

Ownership ownership(const std::string& text) {
    const auto colon = text.find(':');
    Ownership result;
    if (colon != 0) {
        result.owner = ownerNamed(text.substr(0, colon));
    }
    if (colon != std::string::npos) {
        if (colon + 1 == text.size()) {
            throw tool::Misuse();
        }
        result.group = groupNamed(text.substr(colon + 1));
    }
    return result;
}

/// With trailing slashes the system would follow a link.
std::string withoutSlashesAtEnd(std::string path) {
    while (path.size() > 1 && path.ends_with('/')) {
        path.pop_back();
    }
    return path;
}

/// Changes the item's owner. The error is a sentence.
qf::Result<void, std::string> change(const std::string& path, const Ownership& ownership) {
    const auto failure = [&](const std::string& why) {
        return qf::Unexpected(qf::native::failureSentence(path, "given to another owner", why));
    };
    const FileDescriptor item(
        ::open(withoutSlashesAtEnd(path).c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
    struct stat status {};
    if (!item || ::fstat(item.get(), &status) != 0) {
        return failure(reason(Errno::last()));
    }
    if (S_ISLNK(status.st_mode)) {
        return failure("it is a link");
    }
    if (::fchownat(item.get(), "", ownership.owner, ownership.group, AT_EMPTY_PATH) != 0) {
        return failure(reason(Errno::last()));
    }
    return {};
}

/// Tries every file, even after a failure.
bool run(const std::vector<std::string>& words) {
    if (words.size() < 2 || words.front().empty() || words.front().starts_with('-')) {
        throw tool::Misuse();
    }
    const auto wanted = ownership(words.front());
    bool isDone = true;
    for (auto path = words.begin() + 1; path != words.end(); ++path) {
        if (const auto changed = change(*path, wanted); !changed) {
            tool::report("chown", changed.error());
            isDone = false;
        }
    }
    return isDone;
}

} // namespace

int main(int argc, char** argv) {
    return tool::run({.name = "chown", .usage = "chown OWNER[:GROUP] | :GROUP FILE..."}, argc, argv,
                     run);
}
