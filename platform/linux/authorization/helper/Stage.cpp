#include "platform/linux/authorization/helper/Stage.h"

#include "platform/linux/authorization/helper/Command.h"
#include "platform/linux/authorization/helper/Refusal.h"
#include "platform/linux/authorization/helper/ToolStart.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <utility>

namespace qf::native::helper {

namespace {

// Only root can set and read them. They are not copied with the directory.
constexpr const char* copiesMark = "trusted.qf.copies";
constexpr const char* itemMark = "trusted.qf.item";

/// A name that nobody can have taken before.
std::string newName() {
    std::uint64_t number = 0;
    if (::getrandom(&number, sizeof number, 0) != sizeof number) {
        throw startFailure(Errno::last());
    }
    return std::string(stagePrefix) + std::to_string(number);
}

/// Whether a directory is what has just been made, or as good. Who may change the directory that it
/// is in may have put another in its place.
bool isNew(const Item& directory) {
    std::error_code error;
    return isRootsAlone(directory) && std::filesystem::is_empty(heldPath(directory, ""), error) &&
           !error;
}

/// What is made in the directory gets no rights from an access list that its parent hands down.
bool inheritsNothing(const Item& directory) {
    return ::removexattr(heldPath(directory, "").c_str(), "system.posix_acl_default") == 0 ||
           errno == ENODATA || errno == ENOTSUP;
}

/// What tells an item from whatever else of its file system has been swapped in for it while it was
/// held. The file system is not part of that: its number may be another when the machine has been
/// started anew.
std::string noteOf(const Item& item, const std::string& nextName) {
    return std::to_string(item.identity().number) + "/" + nextName;
}

} // namespace

Stage::Stage(const Item& parent, StageFor use) : parent_(parent.descriptor.get()) {
    constexpr int mostAttempts = 100;
    try {
        for (int attempt = 0; !make(use); ++attempt) {
            if (attempt == mostAttempts) {
                throw startFailure(Errno(EBUSY));
            }
        }
    } catch (const Refusal&) {
        remove();
        throw;
    }
}

Stage::~Stage() {
    remove();
}

/// Returns false if the directory has gone, because another process took it for an abandoned one
/// before it was locked.
bool Stage::make(StageFor use) {
    name_ = newName();
    if (::mkdirat(parent_, name_.c_str(), S_IRWXU) != 0) {
        throw startFailure(Errno::last());
    }
    auto made = openItem(parent_, name_);
    if (!made) {
        remove();
        return false;
    }
    if (!isNew(*made) || !inheritsNothing(*made)) {
        throw startFailure(Errno(EPERM));
    }
    directory_ = std::move(*made);
    lock_ = FileDescriptor(
        ::open(heldPath(directory_, "").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    struct stat status {};
    if (!lock_ || ::flock(lock_.get(), LOCK_EX) != 0 || ::fstat(lock_.get(), &status) != 0) {
        throw startFailure(Errno::last());
    }
    if (status.st_nlink == 0) {
        remove();
        return false;
    }
    if (use == StageFor::copies) { // Without the mark, what a kill leaves stays.
        ::fsetxattr(lock_.get(), copiesMark, "", 0, 0);
    }
    return true;
}

void Stage::expect(const Item& item, const std::string& nextName) const {
    if (item.identity().volume == directory_.identity().volume) {
        const std::string note = noteOf(item, nextName);
        ::fsetxattr(lock_.get(), itemMark, note.data(), note.size(), 0);
    }
}

void Stage::remove() const {
    // Another directory of root's may have been put in the new one's place before it was opened.
    ::fremovexattr(lock_.get(), copiesMark);
    ::unlinkat(parent_, name_.c_str(), AT_REMOVEDIR);
}

bool isRootsAlone(const Item& directory) {
    constexpr unsigned rights = S_IRWXU | S_IRWXG | S_IRWXO;
    return directory.isDirectory() && directory.status.stx_uid == 0 &&
           (directory.status.stx_mode & rights) == S_IRWXU;
}

bool isMarkedForCopies(const FileDescriptor& stage) {
    return ::fgetxattr(stage.get(), copiesMark, nullptr, 0) >= 0;
}

bool isExpected(const Item& item, const std::string& nextName, const FileDescriptor& stage) {
    const std::string note = noteOf(item, nextName);
    std::string found(note.size(), '\0'); // a longer one is not read
    const ssize_t size = ::fgetxattr(stage.get(), itemMark, found.data(), found.size());
    found.resize(size > 0 ? static_cast<std::size_t>(size) : 0);
    struct stat directory {};
    return found == note && ::fstat(stage.get(), &directory) == 0 &&
           fileIdOf(directory).volume == item.identity().volume;
}

} // namespace qf::native::helper
