#include "platform/linux/authorization/helper/Reader.h"

#include "platform/linux/authorization/helper/ToolStart.h"

#include <grp.h>
#include <pwd.h>
#include <sys/fsuid.h>
#include <unistd.h>

namespace qf::native::helper {

namespace {

/// Has what is looked at with a user's rights be looked at with those of the user's groups as well.
/// Somebody without an account is in none.
SystemResult<void> takeGroups(uid_t owner) {
    constexpr gid_t nobodys = 65534;
    const passwd* account = ::getpwuid(owner);
    ::setfsgid(account == nullptr ? nobodys : account->pw_gid);
    return checked(account == nullptr ? ::setgroups(0, nullptr)
                                      : ::initgroups(account->pw_name, account->pw_gid));
}

} // namespace

Reader::Reader(uid_t owner) : owner_(owner), parent_(::getppid()) {
    if (owner != 0) {
        requireSuccess(takeGroups(owner));
        endWithParent(parent_);
    }
}

Reader::Turn::Turn(const Reader& reader, const Item& item)
    : isTaken_(reader.owner_ != 0 && item.status.stx_uid != reader.owner_),
      parent_(reader.parent_) {
    if (isTaken_) {
        ::setfsuid(reader.owner_);
        endWithParent(parent_);
    }
}

Reader::Turn::~Turn() {
    if (isTaken_) {
        ::setfsuid(0);
        endWithParent(parent_);
    }
}

} // namespace qf::native::helper
