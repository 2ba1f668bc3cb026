#include "platform/linux/authorization/helper/Move.h"

#include "platform/linux/authorization/helper/AbandonedStages.h"
#include "platform/linux/authorization/helper/Placing.h"
#include "platform/linux/authorization/helper/Refusal.h"
#include "platform/linux/authorization/helper/Stage.h"
#include "platform/linux/authorization/helper/SystemLog.h"
#include "platform/linux/authorization/helper/ToolStart.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

namespace qf::native::helper {

namespace {

/// Returns whether something exists at the destination that the item cannot replace at once.
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

/// Whether a directory is another one, or in it at any depth.
bool isIn(const Item& directory, const FileId& other) {
    auto outer = openItem(directory.descriptor.get(), ".");
    while (outer && outer->identity() != other) {
        auto next = openItem(outer->descriptor.get(), "..");
        if (!next || next->identity() == outer->identity()) {
            return false;
        }
        outer = std::move(next);
    }
    return true;
}

/// Whether the item that was checked is still in its place.
bool isThere(const Place& place) {
    const auto item = openItem(place.directory.descriptor.get(), place.name);
    return item && item->identity() == place.item->identity();
}

/// Takes the former name of a file away that has had both: the kernel leaves such as they are.
bool dropOtherName(const Place& from, const Place& to) {
    const bool isSamePlace =
        from.directory.identity() == to.directory.identity() && from.name == to.name;
    return isSamePlace || !to.item || to.item->identity() != from.item->identity() ||
           ::unlinkat(from.directory.descriptor.get(), from.name.c_str(), 0) == 0 ||
           errno == ENOENT;
}

/// Puts what is in a closed directory back in the place that it was taken from.
void putBack(const Stage& stage, const Place& place) {
    const char* name = place.name.c_str();
    if (::renameat2(stage.directory().descriptor.get(), name, place.directory.descriptor.get(),
                    name, RENAME_NOREPLACE) != 0) {
        log("what was renamed stays in the folder for it: " + place.name);
    }
}

/// Renames the item that was checked into a closed directory, and nothing else that is in its place
/// by now: ESTALE.
SystemResult<void> takeAside(const Place& place, const Stage& stage) {
    const int staged = stage.directory().descriptor.get();
    const char* name = place.name.c_str();
    const auto renamed = checked(::renameat(place.directory.descriptor.get(), name, staged, name));
    if (!renamed) {
        return renamed;
    }
    try {
        const auto item = openItem(staged, place.name);
        if (item && item->identity() == place.item->identity()) {
            return {};
        }
    } catch (const Refusal&) {
        putBack(stage, place);
        throw;
    }
    putBack(stage, place);
    return Unexpected(Errno(ESTALE));
}

/// Renames an item into a directory that only root may change, and nothing else that is in its
/// place by now: ESTALE.
SystemResult<void> renameThisItem(const Place& from, const Place& to) {
    const Stage stage(to.directory, StageFor::items);
    stage.expect(*from.item, to.name);
    if (const auto taken = takeAside(from, stage); !taken) {
        return taken;
    }
    const int staged = stage.directory().descriptor.get();
    const auto renamed = renameTo({to.directory, to.name, to.item.has_value()}, staged, from.name);
    if (renamed) { // The name is still there when both are names of one file.
        ::unlinkat(staged, from.name.c_str(), 0);
    } else {
        putBack(stage, from);
    }
    return renamed;
}

/// A tool that could not be started, for want of memory, is started once more: an item that stays
/// would be copied again by the next run.
bool removeItem(const Tool& remover, const Item& directory, const std::string& name) {
    const std::vector<std::string> arguments{"-Rf", "--one-file-system", "--",
                                             heldPath(directory, name)};
    constexpr int attempts = 2;
    for (int attempt = 0; attempt < attempts; ++attempt) {
        if (succeeds(remover, arguments)) {
            return true;
        }
    }
    return false;
}

/// Takes an item away, and nothing else that is in its place by now: where others than root may
/// put something there, it is renamed into a closed directory first. What cannot be taken away is
/// in its place again. Goes on where the helper is killed: the copy is in place, and nobody would
/// remove the closed directory.
bool removeThisItem(const Place& place, const Tool& remover) {
    outliveParent();
    if (!place.directory.isChangeable()) {
        return isThere(place) && removeItem(remover, place.directory, place.name);
    }
    const Stage stage(place.directory, StageFor::items);
    if (!takeAside(place, stage)) {
        return false;
    }
    const bool isGone = removeItem(remover, stage.directory(), place.name);
    if (!isGone) {
        putBack(stage, place);
    }
    return isGone;
}

SystemResult<void> renameItem(const Place& from, const Place& to) {
    return goesByStage(from, to) ? renameThisItem(from, to)
                                 : renameTo({to.directory, to.name, to.item.has_value()},
                                            from.directory.descriptor.get(), from.name);
}

/// Does the second half of renameThisItem for a process that was killed before it.
void finishRenaming(const AbandonedStage& stage, const Place& from, const Place& to) {
    requireSuccess(
        renameTo({to.directory, to.name, false}, stage.directory.descriptor.get(), from.name));
    ::unlinkat(to.directory.descriptor.get(), stage.name.c_str(), AT_REMOVEDIR);
}

} // namespace

bool goesByStage(const Place& from, const Place& to) {
    const bool isForRoot = !to.directory.isChangeable() ||
                           (to.directory.status.stx_uid == 0 && from.directory.status.stx_uid != 0);
    return from.directory.isChangeable() && isForRoot;
}

bool carryOut(const Copy& copy, FileDescriptor& report) {
    const auto& [from, to, remover] = copy;
    const Placing placing(*from.item, remover);
    if (from.item->isDirectory() && to.item && to.item->isDirectory()) {
        if (isIn(*to.item, from.item->identity())) {
            throw startFailure(Errno(EINVAL));
        }
        if (!mayMergeInto(*to.item, to.directory)) {
            throw startFailure(Errno(EPERM));
        }
        report.reset();
        return placing.merge(*from.item, *to.item, to.name);
    }
    if (isTaken(heldPath(to.directory, to.name), heldPath(from.directory, from.name))) {
        throw startFailure(Errno(EEXIST));
    }
    const Stage stage(to.directory, StageFor::copies);
    report.reset();
    removeAbandonedStages(to.directory, remover);
    return placing.put(*from.item, stage, {to.directory, to.name, to.item.has_value()});
}

bool carryOut(const Move& move, FileDescriptor& report, const FileDescriptor& turns) {
    const auto& [from, to, remover] = move.copy;
    if (move.stage) {
        finishRenaming(*move.stage, from, to);
        return true;
    }
    const std::string source = heldPath(from.directory, from.name);
    const std::string destination = heldPath(to.directory, to.name);
    // Where the item can be renamed, only the attempt tells.
    const auto renamed = renameItem(from, to);
    if (renamed) {
        return dropOtherName(from, to);
    }
    if (!failedWith(renamed, EXDEV)) {
        throw startFailure(renamed.error());
    }
    if (isTaken(destination, source)) {
        throw startFailure(Errno(EEXIST));
    }
    const Placing placing(*from.item, remover);
    const Stage stage(to.directory, StageFor::copies);
    report.reset();
    // An item that the program asks to be moved again, because it is in its place while it is
    // copied, has gone by then.
    takeTurn(turns);
    removeAbandonedStages(to.directory, remover);
    return isThere(from) &&
           placing.put(*from.item, stage, {to.directory, to.name, to.item.has_value()}) &&
           removeThisItem(from, remover);
}

} // namespace qf::native::helper
