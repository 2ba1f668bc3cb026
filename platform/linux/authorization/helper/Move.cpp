#include "platform/linux/authorization/helper/Move.h"

#include "platform/linux/authorization/helper/SystemLog.h"
#include "platform/linux/authorization/helper/ToolStart.h"

#include <fcntl.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <filesystem>

namespace platform::native::helper {

namespace {

/// A new folder in another one, which none but root may enter, so that nothing can be put in the
/// way of what is copied into it. It goes at the scope's end, if it is empty.
class Stage {
public:
    /// Throws a Refusal.
    explicit Stage(const Item& parent) : parent_(parent.descriptor.get()) {
        if (::mkdirat(parent_, name_.c_str(), S_IRWXU) != 0) {
            throw startFailure(errno);
        }
        auto made = openItem(parent_, name_);
        if (!made || !isNew(*made)) {
            remove();
            throw startFailure(EPERM);
        }
        folder_ = std::move(*made);
    }
    ~Stage() { remove(); }
    Stage(const Stage&) = delete;
    Stage& operator=(const Stage&) = delete;
    Stage(Stage&&) = delete;
    Stage& operator=(Stage&&) = delete;

    const Item& folder() const { return folder_; }

private:
    /// A name that nobody can have taken before.
    static std::string newName() {
        std::uint64_t number = 0;
        if (::getrandom(&number, sizeof number, 0) != sizeof number) {
            throw startFailure(errno);
        }
        return ".qf-helper-" + std::to_string(number);
    }

    /// Whether a folder is what has just been made, or as good. Who may change the folder that it
    /// is in may have put another in its place.
    static bool isNew(const Item& folder) {
        constexpr unsigned rights = S_IRWXU | S_IRWXG | S_IRWXO;
        std::error_code error;
        return folder.isFolder() && folder.status.stx_uid == 0 &&
               (folder.status.stx_mode & rights) == S_IRWXU &&
               std::filesystem::is_empty(heldPath(folder, ""), error) && !error;
    }

    void remove() const { ::unlinkat(parent_, name_.c_str(), AT_REMOVEDIR); }

    int parent_;
    std::string name_ = newName();
    Item folder_;
};

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

/// Puts a copy in the destination's place. A tool could be led astray on the way there; renaming
/// cannot.
bool putCopy(const Move& move, const std::string& source, const std::string& copy,
             const std::string& destination) {
    if (succeeds(move.copier, {"-a", "-T", "--", source, copy}) &&
        ::rename(copy.c_str(), destination.c_str()) == 0) {
        return true;
    }
    log("nothing was moved, for no copy could be put in place: " + move.destination.name);
    succeeds(move.remover, {"-Rf", "--", copy});
    return false;
}

/// Whether the item that was checked still stands in its place.
bool isThere(const Place& place) {
    const auto item = openItem(place.folder.descriptor.get(), place.name);
    return item && item->identity() == place.item->identity();
}

} // namespace

bool carryOut(const Move& move, FileDescriptor& report, const FileDescriptor& turns) {
    const std::string source = heldPath(move.source.folder, move.source.name);
    const std::string destination = heldPath(move.destination.folder, move.destination.name);
    // Where the item can be renamed, only the attempt tells.
    if (::rename(source.c_str(), destination.c_str()) == 0) {
        return true;
    }
    if (errno != EXDEV) {
        throw startFailure(errno);
    }
    if (isTaken(destination, source)) {
        throw startFailure(EEXIST);
    }
    const Stage stage(move.destination.folder);
    report.reset();
    // An item that the program asks to be moved again, because it stands in its place while it is
    // copied, has gone by then.
    takeTurn(turns);
    return putCopy(move, source, heldPath(stage.folder(), move.destination.name), destination) &&
           isThere(move.source) && succeeds(move.remover, {"-Rf", "--", source});
}

} // namespace platform::native::helper
