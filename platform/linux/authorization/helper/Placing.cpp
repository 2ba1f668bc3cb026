#include "platform/linux/authorization/helper/Placing.h"

#include "platform/linux/authorization/helper/Copying.h"
#include "platform/linux/authorization/helper/Refusal.h"
#include "platform/linux/authorization/helper/SystemLog.h"
#include "platform/linux/authorization/helper/ToolStart.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>

namespace qf::native::helper {

namespace {

void logFailure(const std::string& name, const std::string& reason) {
    log("no copy could be put in place: " + name + ": " + reason);
}

} // namespace

bool succeeds(const Tool& tool, const std::vector<std::string>& arguments) {
    const pid_t parent = ::getpid();
    const pid_t child = ::fork();
    if (child == 0) {
        endWithParent(parent);
        ::signal(SIGPIPE, SIG_IGN); // what it complains of may have no reader any more
        becomeToolOrEnd(tool, arguments);
    }
    int status = -1;
    while (child > 0 && ::waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return status == 0;
}

SystemResult<void> renameTo(const Destination& destination, int directory,
                            const std::string& name) {
    const int to = destination.directory.descriptor.get();
    const char* newName = destination.name.c_str();
    if (!destination.isTaken) {
        const auto renamed =
            checked(::renameat2(directory, name.c_str(), to, newName, RENAME_NOREPLACE));
        if (!failedWith(renamed, EINVAL)) { // which a file system says that does not know this
            return renamed;
        }
    }
    return checked(::renameat(directory, name.c_str(), to, newName));
}

bool Placing::put(const Item& item, const Stage& stage, const Destination& destination) const {
    const int staged = stage.directory().descriptor.get();
    const auto& name = destination.name;
    std::string reason;
    try {
        copyItem(item, reader_, stage.directory(), name, destination.directory.status.stx_uid);
        const auto renamed = renameTo(destination, staged, name);
        if (renamed) {
            return true;
        }
        reason = std::to_string(renamed.error().number());
    } catch (const Refusal& refusal) {
        reason = refusal.about;
    }
    logFailure(name, reason);
    succeeds(remover_, {"-Rf", "--", heldPath(stage.directory(), name)});
    return false;
}

bool Placing::merge(const Item& from, const Item& to, const std::string& name) const {
    liftLimits();
    return mergeLevel({from, to}, name);
}

bool Placing::mergeLevel(const Level& level, const std::string& name) const {
    bool areAllThere = false;
    try {
        requireLevel(level.number);
        areAllThere = mergeItems(level);
        settleLike(level.from, level.to); // when the stage has gone
    } catch (const Refusal& refusal) {
        logFailure(name, refusal.about);
        return false;
    }
    return areAllThere;
}

bool Placing::mergeItems(const Level& level) const {
    const Stage stage(level.to, StageFor::copies);
    bool areAllThere = true;
    forEachIn(level.from, reader_, [&](const Item& item, const std::string& name) {
        areAllThere = mergeItem(item, name, stage, level) && areAllThere;
    });
    return areAllThere;
}

bool Placing::mergeItem(const Item& item, const std::string& name, const Stage& stage,
                        const Level& level) const {
    const auto there = openItem(level.to.descriptor.get(), name);
    const bool isDirectoryThere = there && there->isDirectory();
    if (isDirectoryThere && item.isDirectory() && mayMergeInto(*there, level.to)) {
        return mergeLevel({item, *there, level.number + 1}, name);
    }
    if (isDirectoryThere || (there && item.isDirectory())) {
        logFailure(name, std::to_string(EEXIST));
        return false;
    }
    return put(item, stage, {level.to, name, there.has_value()});
}

bool mayMergeInto(const Item& directory, const Item& parent) {
    return !parent.isChangeable() || directory.status.stx_uid == parent.status.stx_uid;
}

} // namespace qf::native::helper
