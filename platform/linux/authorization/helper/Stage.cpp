#include "platform/linux/authorization/helper/Stage.h"

#include "platform/linux/authorization/helper/Command.h"
#include "platform/linux/authorization/helper/ToolStart.h"

#include <fcntl.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <utility>

namespace platform::native::helper {

namespace {

/// A name that nobody can have taken before.
std::string newName() {
    std::uint64_t number = 0;
    if (::getrandom(&number, sizeof number, 0) != sizeof number) {
        throw startFailure(Errno::last());
    }
    return ".qf-helper-" + std::to_string(number);
}

/// Whether a directory is what has just been made, or as good. Who may change the directory that it
/// is in may have put another in its place.
bool isNew(const Item& directory) {
    constexpr unsigned rights = S_IRWXU | S_IRWXG | S_IRWXO;
    std::error_code error;
    return directory.isDirectory() && directory.status.stx_uid == 0 &&
           (directory.status.stx_mode & rights) == S_IRWXU &&
           std::filesystem::is_empty(heldPath(directory, ""), error) && !error;
}

/// What is made in the directory gets no rights from an access list that its parent hands down.
bool inheritsNothing(const Item& directory) {
    return ::removexattr(heldPath(directory, "").c_str(), "system.posix_acl_default") == 0 ||
           errno == ENODATA || errno == ENOTSUP;
}

} // namespace

Stage::Stage(const Item& parent) : parent_(parent.descriptor.get()), name_(newName()) {
    if (::mkdirat(parent_, name_.c_str(), S_IRWXU) != 0) {
        throw startFailure(Errno::last());
    }
    auto made = openItem(parent_, name_);
    if (!made || !isNew(*made) || !inheritsNothing(*made)) {
        remove();
        throw startFailure(Errno(EPERM));
    }
    directory_ = std::move(*made);
}

Stage::~Stage() {
    remove();
}

void Stage::remove() const {
    const int reason = errno; // of what has failed before
    ::unlinkat(parent_, name_.c_str(), AT_REMOVEDIR);
    errno = reason;
}

} // namespace platform::native::helper
