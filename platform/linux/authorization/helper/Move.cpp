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
    const std::string copied = heldPath(stage.directory(), copy.destination.name);
    const std::string destination = heldPath(copy.destination.directory, copy.destination.name);
    std::string reason;
    try {
        copyItem(*copy.source.item, stage.directory(), copy.destination.name);
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
    const auto item = openItem(place.directory.descriptor.get(), place.name);
    return item && item->identity() == place.item->identity();
}

} // namespace

bool carryOut(const Copy& copy, FileDescriptor& report) {
    const std::string source = heldPath(copy.source.directory, copy.source.name);
    if (isTaken(heldPath(copy.destination.directory, copy.destination.name), source)) {
        throw startFailure(Errno(EEXIST));
    }
    const Stage stage(copy.destination.directory);
    report.reset();
    return putCopy(copy, stage);
}

bool carryOut(const Move& move, FileDescriptor& report, const FileDescriptor& turns) {
    const auto& [from, to, remover] = move.copy;
    const std::string source = heldPath(from.directory, from.name);
    const std::string destination = heldPath(to.directory, to.name);
    // Where the item can be renamed, only the attempt tells.
    if (::rename(source.c_str(), destination.c_str()) == 0) {
        return true;
    }
    if (errno != EXDEV) {
        throw startFailure(Errno::last());
    }
    if (isTaken(destination, source)) {
        throw startFailure(Errno(EEXIST));
    }
    const Stage stage(to.directory);
    report.reset();
    // An item that the program asks to be moved again, because it stands in its place while it is
    // copied, has gone by then.
    takeTurn(turns);
    return isThere(from) && putCopy(move.copy, stage) && isThere(from) &&
           succeeds(remover, {"-Rf", "--", source});
}

} // namespace platform::native::helper
