#include "platform/linux/helper/Move.h"

#include "platform/linux/helper/SystemLog.h"
#include "platform/linux/helper/ToolStart.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>

namespace platform::native::helper {

namespace {

/// Whether all that has been copied is still where it was copied from, so that the copy of a move
/// that failed can go. The tool takes nothing away before the copy is complete.
bool isWhole(const std::filesystem::path& source, const std::filesystem::path& copy) {
    namespace fs = std::filesystem;
    std::error_code error;
    const auto stands = [&](const fs::path& item) {
        return fs::exists(fs::symlink_status(item, error));
    };
    if (!stands(copy)) {
        return true;
    }
    bool whole = stands(source);
    for (fs::recursive_directory_iterator item(copy, error), end; whole && !error && item != end;
         item.increment(error)) {
        whole = stands(source / item->path().lexically_relative(copy));
    }
    return whole && !error;
}

/// Waits until no other child of the session moves anything, and keeps them waiting until this
/// process ends.
void takeTurn(const FileDescriptor& turns) {
    struct flock all {};
    all.l_type = F_WRLCK;
    while (::fcntl(turns.get(), F_SETLKW, &all) != 0 && errno == EINTR) {
    }
}

/// Waits until the other end of a pipe is closed.
void awaitEnd(const FileDescriptor& readEnd) {
    char nothing = 0;
    while (::read(readEnd.get(), &nothing, 1) < 0 && errno == EINTR) {
    }
}

/// Whether something stands at the destination that the item cannot replace at once.
bool isTaken(const std::string& destination, const std::string& source) {
    struct stat there {};
    struct stat item {};
    return ::lstat(destination.c_str(), &there) == 0 &&
           (S_ISDIR(there.st_mode) || ::lstat(source.c_str(), &item) != 0 || S_ISDIR(item.st_mode));
}

/// Moves through a fresh folder beside the destination that none but root may enter, so that
/// nothing can be put in the tool's way while it copies. What cannot be put in place afterwards
/// stays there.
///
/// Such moves are made one after the other: an item that the program asks to be moved again,
/// because it stands in its place while it is copied, has gone by then. Two at once would each take
/// away what the other still has to copy. The program is told at once that the move has begun.
[[noreturn]] void moveThroughStage(Command command, FileDescriptor& report,
                                   const FileDescriptor& turns) {
    const auto [index, name] = *command.staging;
    const int folder = command.folders[index].descriptor.get();
    const std::string stageName = ".qf-helper-" + std::to_string(::getpid());
    if (::mkdirat(folder, stageName.c_str(), S_IRWXU) != 0) {
        failToStart(report);
    }
    auto stage = openItem(folder, stageName);
    if (!stage || !stage->isFolder() || stage->isChangeable()) {
        errno = EPERM;
        failToStart(report);
    }
    const int stageFolder = stage->descriptor.get();
    const std::string source = command.arguments[command.arguments.size() - 2];
    command.arguments.back() = anchor(command, std::move(*stage), name);
    Pipe start = makePipe(0);
    const pid_t tool = ::fork();
    if (tool == 0) {
        start.writeEnd.reset();
        report.reset();
        awaitEnd(start.readEnd);
        becomeTool(command, report);
    }
    if (tool < 0) {
        const int error = errno;
        ::unlinkat(folder, stageName.c_str(), AT_REMOVEDIR);
        errno = error;
        failToStart(report);
    }
    report.reset();
    takeTurn(turns);
    start.writeEnd.reset();
    int status = 0;
    while (::waitpid(tool, &status, 0) < 0 && errno == EINTR) {
    }
    if (status != 0 && isWhole(source, command.arguments.back())) {
        std::error_code ignored;
        std::filesystem::remove_all(command.arguments.back(), ignored);
    } else if (::renameat(stageFolder, name.c_str(), folder, name.c_str()) != 0 &&
               errno != ENOENT) {
        log("a moved item was left in " + stageName + ": " + name);
    }
    ::unlinkat(folder, stageName.c_str(), AT_REMOVEDIR);
    ::_exit(status == 0 ? 0 : 1);
}

} // namespace

void moveIntoChangeableFolder(Command command, FileDescriptor& report,
                              const FileDescriptor& turns) {
    // Where the item can be renamed there is no way on which it could be led astray; only the
    // attempt tells where that is.
    const std::string& source = command.arguments[command.arguments.size() - 2];
    const std::string& destination = command.arguments.back();
    if (::rename(source.c_str(), destination.c_str()) == 0) {
        ::_exit(0);
    }
    if (errno != EXDEV) {
        failToStart(report);
    }
    if (isTaken(destination, source)) {
        errno = EEXIST;
        failToStart(report);
    }
    moveThroughStage(std::move(command), report, turns);
}

} // namespace platform::native::helper
