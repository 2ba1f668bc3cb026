#include "platform/linux/authorization/helper/Move.h"

#include "platform/linux/authorization/helper/Copying.h"
#include "platform/linux/authorization/helper/Refusal.h"
#include "platform/linux/authorization/helper/Stage.h"
#include "platform/linux/authorization/helper/SystemLog.h"
#include "platform/linux/authorization/helper/ToolStart.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <string>
#include <vector>

namespace platform::native::helper {

namespace {

/// Runs a tool to its end and tells whether it has done what it was to do.
bool succeeds(const Tool& tool, const std::vector<std::string>& arguments) {
    const pid_t child = ::fork();
    if (child == 0) {
        becomeToolOrEnd(tool, arguments);
    }
    int status = -1;
    while (child > 0 && ::waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return status == 0;
}

/// Whether something stands at the destination that the item cannot replace at once.
bool isTaken(const std::string& destination, const std::string& source) {
    struct stat there {};
    struct stat item {};
    return ::lstat(destination.c_str(), &there) == 0 &&
           (S_ISDIR(there.st_mode) || ::lstat(source.c_str(), &item) != 0 || S_ISDIR(item.st_mode));
}

/// Waits until no other process moves anything, and keeps others waiting until this process ends.
void takeTurn(const FileDescriptor& turns) {
    struct flock all {};
    all.l_type = F_WRLCK;
    while (::fcntl(turns.get(), F_SETLKW, &all) != 0 && errno == EINTR) {
    }
}

/// Puts a copy in the destination's place.
bool putCopy(const Copy& copy, const Stage& stage) {
    const std::string copied = heldPath(stage.folder(), copy.destination.name);
    const std::string destination = heldPath(copy.destination.folder, copy.destination.name);
    std::string reason;
    try {
        copyItem(*copy.source.item, stage.folder(), copy.destination.name);
        if (::rename(copied.c_str(), destination.c_str()) == 0) {
            return true;
        }
        reason = std::to_string(errno);
    } catch (const Refusal& refusal) {
        reason = refusal.about;
    }
    log("no copy could be put in place: " + copy.destination.name + ": " + reason);
    succeeds(copy.remover, {"-Rf", "--", copied});
    return false;
}

/// Whether the item that was checked still stands in its place.
bool isThere(const Place& place) {
    const auto item = openItem(place.folder.descriptor.get(), place.name);
    return item && item->identity() == place.item->identity();
}

/// Takes the former name of a file away that has had both: the kernel leaves such as they are.
bool dropOtherName(const Place& from, const Place& to) {
    const bool isSamePlace = from.folder.identity() == to.folder.identity() && from.name == to.name;
    return isSamePlace || !to.item || to.item->identity() != from.item->identity() ||
           ::unlinkat(from.folder.descriptor.get(), from.name.c_str(), 0) == 0;
}

/// Renames an item into a folder that only root may change, and nothing else that stands in its
/// place by now. Sets errno when it cannot.
bool renameThisItem(const Place& from, const Place& to) {
    const Stage stage(to.folder);
    const int staged = stage.folder().descriptor.get();
    const int source = from.folder.descriptor.get();
    const char* name = from.name.c_str();
    if (::renameat(source, name, staged, name) != 0) {
        return false;
    }
    const auto item = openItem(staged, from.name);
    const bool isIt = item && item->identity() == from.item->identity();
    if (isIt && ::renameat(staged, name, to.folder.descriptor.get(), to.name.c_str()) == 0) {
        return true;
    }
    const int reason = isIt ? errno : ESTALE;
    if (::renameat2(staged, name, source, name, RENAME_NOREPLACE) != 0) {
        log("what was renamed stays in the folder for it: " + from.name);
    }
    errno = reason;
    return false;
}

bool renameItem(const Place& from, const Place& to) {
    return from.folder.isChangeable() && !to.folder.isChangeable()
               ? renameThisItem(from, to)
               : ::renameat(from.folder.descriptor.get(), from.name.c_str(),
                            to.folder.descriptor.get(), to.name.c_str()) == 0;
}

} // namespace

bool carryOut(const Copy& copy, FileDescriptor& report) {
    const std::string source = heldPath(copy.source.folder, copy.source.name);
    if (isTaken(heldPath(copy.destination.folder, copy.destination.name), source)) {
        throw startFailure(EEXIST);
    }
    const Stage stage(copy.destination.folder);
    report.reset();
    return putCopy(copy, stage);
}

bool carryOut(const Move& move, FileDescriptor& report, const FileDescriptor& turns) {
    const auto& [from, to, remover] = move.copy;
    const std::string source = heldPath(from.folder, from.name);
    const std::string destination = heldPath(to.folder, to.name);
    // Where the item can be renamed, only the attempt tells.
    if (renameItem(from, to)) {
        return dropOtherName(from, to);
    }
    if (errno != EXDEV) {
        throw startFailure(errno);
    }
    if (isTaken(destination, source)) {
        throw startFailure(EEXIST);
    }
    const Stage stage(to.folder);
    report.reset();
    // An item that the program asks to be moved again, because it stands in its place while it is
    // copied, has gone by then.
    takeTurn(turns);
    return isThere(from) && putCopy(move.copy, stage) && isThere(from) &&
           succeeds(remover, {"-Rf", "--", source});
}

} // namespace platform::native::helper
