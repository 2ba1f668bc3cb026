// qf-helper: starts tools as the superuser for one program, whose user pkexec has authorized.
//
// The program makes a socket pair and starts this through pkexec with one end as descriptor 0. The
// connection is the right: whoever holds the other end may have any tool started that only root may
// change, as that user could with pkexec itself, but without being asked again. Nothing is read
// from the environment but what pkexec puts there, nothing from the command line, no file is
// configuration.
//
// From top to bottom: the system log; walking a path without being led astray; the items that must
// stay; the commands that may be run and what becomes of the operands of rm and mv; starting a
// tool; the session, which answers requests until the program is gone and the last tool has ended;
// and the checks before all that.

#include "platform/linux/FileDescriptor.h"
#include "platform/linux/helper/HelperProtocol.h"

#include <dirent.h>
#include <fcntl.h>
#include <mntent.h>
#include <poll.h>
#include <pwd.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <filesystem>
#include <functional>
#include <new>
#include <set>
#include <tuple>
#include <utility>
#include <variant>

namespace platform::native::helper {

namespace {

/// Why a request is refused, and what about it.
struct Refusal {
    Status status = Status::startFailed;
    std::string about;
};

// ---- The system log ----------------------------------------------------------------------------

constexpr std::size_t longestLogLine = 400;

const char* textOf(Status status) {
    switch (status) {
    case Status::requestMalformed:
        return "the request is malformed";
    case Status::requestTooLarge:
        return "the request is too large";
    case Status::toolNotAbsolute:
        return "the tool's path is relative";
    case Status::toolMissing:
        return "there is no such tool";
    case Status::toolNotTrusted:
        return "others than root may change the tool or its way";
    case Status::commandUnknown:
        return "the command has a form that is not allowed";
    case Status::itemProtected:
        return "a system folder, a home folder or a mount point would be taken away";
    case Status::itemRedirected:
        return "a link leads to a folder that is not its owner's";
    case Status::itemUnreachable:
        return "an item cannot be reached";
    case Status::started:
    case Status::ready:
    case Status::startFailed:
        break;
    }
    return "the tool cannot be started";
}

/// Bytes that no terminal and no log reader can mistake for anything else, as many as fit.
std::string printable(std::string_view text) {
    constexpr std::string_view digits = "0123456789abcdef";
    std::string result;
    for (const char character : text) {
        const auto byte = static_cast<unsigned char>(character);
        if (byte >= 0x20 && byte < 0x7f && character != '\\') {
            result += character;
        } else {
            result += {'\\', 'x', digits[byte >> 4U], digits[byte & 0xfU]};
        }
        if (result.size() > longestLogLine) {
            return result + "...";
        }
    }
    return result;
}

void log(std::string_view line) {
    ::syslog(LOG_NOTICE, "%s", printable(line).c_str());
}

// ---- Walking a path ----------------------------------------------------------------------------

/// Something in the file system, held so that it stays the same whatever becomes of its name.
struct Item {
    FileDescriptor descriptor;
    struct statx status {};

    bool isFolder() const { return S_ISDIR(status.stx_mode); }
    bool isLink() const { return S_ISLNK(status.stx_mode); }

    /// Whether others than root may change it. An access list counts: its mask shows as the group's
    /// bits.
    bool isChangeable() const {
        return status.stx_uid != 0 || (!isLink() && (status.stx_mode & (S_IWGRP | S_IWOTH)) != 0);
    }
    auto identity() const {
        return std::tuple(status.stx_dev_major, status.stx_dev_minor, status.stx_ino);
    }
};

/// Opens what stands in a folder under a name, a link itself. No server is asked and nothing is
/// mounted on the way, so that a dead one cannot keep the helper waiting.
std::optional<Item> openItem(int folder, const std::string& name) {
    constexpr unsigned needed = STATX_TYPE | STATX_MODE | STATX_UID | STATX_INO;
    Item item;
    item.descriptor =
        FileDescriptor(::openat(folder, name.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
    if (!item.descriptor || ::statx(item.descriptor.get(), "", AT_EMPTY_PATH | AT_STATX_DONT_SYNC,
                                    needed, &item.status) != 0) {
        return std::nullopt;
    }
    return item;
}

/// What a path leads to.
struct Way {
    Item end;
    /// The owners of the folders from where the way could have been led elsewhere: each has a link
    /// or ".." on the way that others than root may have put there.
    std::vector<uid_t> redirectors;

    /// Whether it leads where each redirector could have done the same harm as its owner.
    bool isHonest() const {
        return std::all_of(redirectors.begin(), redirectors.end(),
                           [&](uid_t owner) { return owner != 0 && owner == end.status.stx_uid; });
    }
};

std::deque<std::string> components(std::string_view path) {
    std::deque<std::string> names;
    while (!path.empty()) {
        const std::size_t end = std::min(path.find('/'), path.size());
        const auto name = path.substr(0, end);
        if (!name.empty() && name != ".") {
            names.emplace_back(name);
        }
        path.remove_prefix(std::min(end + 1, path.size()));
    }
    return names;
}

/// Where a link leads; empty when that cannot be read.
std::string targetOf(const Item& link) {
    std::string target(PATH_MAX, '\0');
    const ssize_t size = ::readlinkat(link.descriptor.get(), "", target.data(), target.size());
    target.resize(size > 0 && size < PATH_MAX ? static_cast<std::size_t>(size) : 0);
    return target;
}

using Visitor = std::function<void(const Item&)>;

/// Walks from the root to what an absolute path leads to, following every link, the last one too,
/// and shows `visit` each folder, link and file that it comes by. Gives nothing when it cannot be
/// reached.
std::optional<Way> walk(std::string_view path, const Visitor& visit) {
    constexpr int mostLinks = 40;
    auto root = openItem(AT_FDCWD, "/");
    if (!root) {
        return std::nullopt;
    }
    visit(*root);
    Way way{std::move(*root), {}};
    bool isChangeable = way.end.isChangeable();
    auto names = components(path);
    for (int links = 0; !names.empty();) {
        const std::string name = names.front();
        names.pop_front();
        auto next = openItem(way.end.descriptor.get(), name);
        if (!next) {
            return std::nullopt;
        }
        visit(*next);
        if (isChangeable && (next->isLink() || name == "..")) {
            way.redirectors.push_back(way.end.status.stx_uid);
        }
        if (!next->isLink()) {
            isChangeable = isChangeable || next->isChangeable();
            way.end = std::move(*next);
            continue;
        }
        const std::string target = targetOf(*next);
        if (target.empty() || ++links > mostLinks) {
            return std::nullopt;
        }
        if (target.front() == '/') {
            root = openItem(AT_FDCWD, "/");
            if (!root) {
                return std::nullopt;
            }
            way.end = std::move(*root);
            isChangeable = way.end.isChangeable();
        }
        const auto further = components(target);
        names.insert(names.begin(), further.begin(), further.end());
    }
    return way;
}

// ---- The items that must stay ------------------------------------------------------------------

/// What no tool may take away: the top-level folders, every account's home folder, every mount
/// point, and every folder and link on the way to one of them. They are known by device and inode,
/// so that no spelling hides them.
class ProtectedItems {
public:
    explicit ProtectedItems(uid_t user) {
        addTopLevel();
        addHomes(user);
        addMountPoints();
    }

    bool contain(const Item& item) const { return identities_.contains(item.identity()); }

private:
    void add(const std::string& path) {
        walk(path, [this](const Item& item) { identities_.insert(item.identity()); });
    }

    void addTopLevel() {
        DIR* folder = ::opendir("/");
        if (folder == nullptr) {
            throw Refusal{Status::startFailed, "/"};
        }
        while (const dirent* entry = ::readdir(folder)) {
            add(std::string("/") + static_cast<const char*>(entry->d_name));
        }
        ::closedir(folder);
    }

    void addHomes(uid_t user) {
        const passwd* own = ::getpwuid(user); // enumerating leaves out what a directory server has
        if (own != nullptr) {
            add(own->pw_dir);
        }
        ::setpwent();
        while (const passwd* account = ::getpwent()) {
            add(account->pw_dir);
        }
        ::endpwent();
    }

    void addMountPoints() {
        FILE* mounts = ::setmntent("/proc/self/mounts", "re");
        if (mounts == nullptr) {
            throw Refusal{Status::startFailed, "/proc/self/mounts"};
        }
        while (const mntent* mount = ::getmntent(mounts)) {
            add(mount->mnt_dir);
        }
        ::endmntent(mounts);
    }

    std::set<decltype(std::declval<Item>().identity())> identities_;
};

// ---- Commands ----------------------------------------------------------------------------------

/// A tool that may be started, with its arguments and the folders that these name by descriptor.
struct Command {
    std::string path;
    Item tool;
    std::vector<std::string> arguments;
    std::vector<Item> folders;
    /// Where a move ends that goes to a folder that others than root may change: the place in
    /// `folders`, and the item's name there.
    std::optional<std::pair<std::size_t, std::string>> staging;
};

/// A name in a folder. The item is missing when nothing stands there.
struct Place {
    Item folder;
    std::string name;
    std::optional<Item> item;
};

Item trustedTool(std::string_view path) {
    if (!path.starts_with('/')) {
        throw Refusal{Status::toolNotAbsolute, std::string(path)};
    }
    bool isTrusted = true;
    auto way = walk(path, [&](const Item& item) { isTrusted = isTrusted && !item.isChangeable(); });
    if (!isTrusted) {
        throw Refusal{Status::toolNotTrusted, std::string(path)};
    }
    if (!way || !S_ISREG(way->end.status.stx_mode) || (way->end.status.stx_mode & 0111U) == 0) {
        throw Refusal{Status::toolMissing, std::string(path)};
    }
    return std::move(way->end);
}

bool isTool(const Command& command, const std::string& name) {
    if (command.path.ends_with("/" + name)) {
        return true;
    }
    const auto known = walk("/usr/bin/" + name, [](const Item&) {});
    return known && known->end.identity() == command.tool.identity();
}

/// The way to the folder of an operand, and the operand's name there. Gives nothing when the folder
/// cannot be reached.
std::optional<Place> locate(std::string_view operand) {
    const std::string about(operand);
    if (!operand.starts_with('/')) {
        throw Refusal{Status::commandUnknown, about};
    }
    const bool namesFolder = operand.ends_with('/');
    while (operand.ends_with('/')) {
        operand.remove_suffix(1);
    }
    const std::size_t slash = operand.rfind('/');
    const std::string name(operand.empty() ? operand : operand.substr(slash + 1));
    if (name.empty() || name == "." || name == "..") {
        throw Refusal{Status::itemProtected, about};
    }
    auto way = walk(operand.substr(0, slash), [](const Item&) {});
    if (!way || !way->end.isFolder()) {
        return std::nullopt;
    }
    if (!way->isHonest()) {
        throw Refusal{Status::itemRedirected, about};
    }
    auto item = openItem(way->end.descriptor.get(), name);
    if (item && item->isLink() && namesFolder) {
        throw Refusal{Status::itemRedirected, about};
    }
    return Place{std::move(way->end), name, std::move(item)};
}

/// Keeps the folder for the command and gives the path by which the tool finds the name in just
/// this folder, wherever that has been moved to.
std::string anchor(Command& command, Item folder, const std::string& name) {
    const std::string number = std::to_string(folder.descriptor.get());
    command.folders.push_back(std::move(folder));
    return "/proc/self/fd/" + number + "/" + name;
}

/// Takes the operands out of a command whose options are single letters without a value, all of
/// them in `letters`, and leaves the options and "--".
std::vector<std::string> takeOperands(Command& command, std::string_view letters) {
    std::vector<std::string> options;
    std::vector<std::string> operands;
    bool isOver = false;
    for (auto& argument : command.arguments) {
        if (isOver || !argument.starts_with('-')) {
            operands.push_back(std::move(argument));
        } else if (argument == "--") {
            isOver = true;
        } else if (argument.size() == 1 ||
                   argument.find_first_not_of(letters, 1) != std::string::npos) {
            throw Refusal{Status::commandUnknown, command.path + " " + argument};
        } else {
            options.push_back(std::move(argument));
        }
    }
    options.emplace_back("--");
    command.arguments = std::move(options);
    return operands;
}

/// An operand whose folder does not exist is left out, for there is nothing to remove.
void prepareRemoval(Command& command, const ProtectedItems& staying) {
    for (const auto& operand : takeOperands(command, "dfiIrRv")) {
        auto place = locate(operand);
        if (!place) {
            continue;
        }
        if (place->item && staying.contain(*place->item)) {
            throw Refusal{Status::itemProtected, operand};
        }
        const std::string name = place->name;
        command.arguments.push_back(anchor(command, std::move(place->folder), name));
    }
}

/// Where a move to `operand` ends: in the folder that stands there, or else at this very place.
std::optional<Place> destinationOf(std::string_view operand, const std::string& sourceName) {
    if (!operand.starts_with('/')) {
        throw Refusal{Status::commandUnknown, std::string(operand)};
    }
    auto way = walk(operand, [](const Item&) {});
    if (!way || !way->end.isFolder()) {
        return locate(operand);
    }
    if (!way->isHonest()) {
        throw Refusal{Status::itemRedirected, std::string(operand)};
    }
    auto item = openItem(way->end.descriptor.get(), sourceName);
    return Place{std::move(way->end), sourceName, std::move(item)};
}

/// Replacing without a question is all that a move does: it may be made by another name first,
/// where the tool would not see what it must not replace.
void prepareMove(Command& command, const ProtectedItems& staying) {
    const auto operands = takeOperands(command, "fv");
    if (operands.size() != 2) {
        throw Refusal{Status::commandUnknown, command.path};
    }
    auto source = locate(operands[0]);
    if (!source || !source->item) {
        throw Refusal{Status::itemUnreachable, operands[0]};
    }
    auto destination = destinationOf(operands[1], source->name);
    if (!destination) {
        throw Refusal{Status::itemUnreachable, operands[1]};
    }
    if (staying.contain(*source->item) ||
        (destination->item && staying.contain(*destination->item))) {
        throw Refusal{Status::itemProtected, operands[0]};
    }
    const std::string name = destination->name;
    const bool staged = destination->folder.isChangeable();
    command.arguments.insert(command.arguments.begin(), "-T");
    command.arguments.push_back(anchor(command, std::move(source->folder), source->name));
    command.arguments.push_back(anchor(command, std::move(destination->folder), name));
    if (staged) {
        command.staging.emplace(command.folders.size() - 1, name);
    }
}

Command prepare(const Request& request, uid_t user) {
    Command command{.path = std::string(request.tool),
                    .tool = trustedTool(request.tool),
                    .arguments = {request.arguments.begin(), request.arguments.end()},
                    .folders = {},
                    .staging = {}};
    if (isTool(command, "rm")) {
        prepareRemoval(command, ProtectedItems(user));
    } else if (isTool(command, "mv")) {
        prepareMove(command, ProtectedItems(user));
    }
    return command;
}

// ---- Starting a tool ---------------------------------------------------------------------------

struct Pipe {
    FileDescriptor readEnd;
    FileDescriptor writeEnd;
};

Pipe makePipe(int flags) {
    std::array<int, 2> ends{-1, -1};
    if (::pipe2(ends.data(), O_CLOEXEC | flags) != 0) {
        throw Refusal{Status::startFailed, "pipe: " + std::to_string(errno)};
    }
    return {FileDescriptor(ends[0]), FileDescriptor(ends[1])};
}

/// Where a child says that it failed before its tool ran. The tool itself never has it.
[[noreturn]] void failToStart(const FileDescriptor& report) {
    const int error = errno;
    const ssize_t written = ::write(report.get(), &error, sizeof error);
    ::_exit(written == sizeof error ? 127 : 126);
}

[[noreturn]] void becomeTool(const Command& command, const FileDescriptor& report) {
    for (const auto& folder : command.folders) {
        ::fcntl(folder.descriptor.get(), F_SETFD, 0);
    }
    std::vector<std::string> strings{command.path};
    strings.insert(strings.end(), command.arguments.begin(), command.arguments.end());
    std::vector<char*> arguments;
    arguments.reserve(strings.size() + 1);
    for (auto& string : strings) {
        arguments.push_back(string.data());
    }
    arguments.push_back(nullptr);
    std::array<std::string, 2> variables{"PATH=/usr/sbin:/usr/bin:/sbin:/bin", "LC_ALL=C.UTF-8"};
    const std::array<char*, 3> environment{variables[0].data(), variables[1].data(), nullptr};
    ::fexecve(command.tool.descriptor.get(), arguments.data(), environment.data());
    failToStart(report);
}

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

/// Moves into a folder that others than root may change. Where the item can be renamed there is no
/// way on which it could be led astray; only the attempt tells where that is.
[[noreturn]] void moveIntoChangeableFolder(Command command, FileDescriptor& report,
                                           const FileDescriptor& turns) {
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

[[noreturn]] void runInChild(Command command, FileDescriptor report, const FileDescriptor& turns) {
    try {
        if (command.staging) {
            moveIntoChangeableFolder(std::move(command), report, turns);
        }
        becomeTool(command, report);
    } catch (const std::bad_alloc&) {
        errno = ENOMEM;
        failToStart(report);
    } catch (const Refusal&) {
        failToStart(report);
    }
}

/// What a tool finds at its start: a session without terminal, signals at their defaults.
void leaveTheHelperBehind(int input, int output, int errors) {
    ::setsid();
    for (int signal = 1; signal < NSIG; ++signal) {
        ::signal(signal, SIG_DFL);
    }
    sigset_t none;
    ::sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
    ::dup2(input, STDIN_FILENO);
    ::dup2(output, STDOUT_FILENO);
    ::dup2(errors, STDERR_FILENO);
}

/// Waits until the tool runs, or throws.
void awaitStart(Pipe& report, const std::string& path) {
    report.writeEnd.reset();
    int error = 0;
    ssize_t size = 0;
    do {
        size = ::read(report.readEnd.get(), &error, sizeof error);
    } while (size < 0 && errno == EINTR);
    if (size != 0) {
        throw Refusal{Status::startFailed, path + ": " + std::to_string(error)};
    }
}

// ---- The session -------------------------------------------------------------------------------

/// The output of one tool on its way to the program. It goes through the helper so that a program
/// that has stopped reading, or has ended, does not stop the tool.
struct Output {
    FileDescriptor fromTool;
    FileDescriptor toProgram;
    bool isFull = false;
};

class Session {
public:
    explicit Session(uid_t user)
        : user_(user), null_(::open("/dev/null", O_RDWR | O_CLOEXEC)),
          turns_(::memfd_create("turns", MFD_CLOEXEC)), toolErrors_(makePipe(O_NONBLOCK)),
          message_(maximumRequestSize + 1, '\0') {
        ::fcntl(toolErrors_.writeEnd.get(), F_SETFL, 0); // the tools' end waits
    }

    void serve() {
        while (isConnected_ || children_ > 0 || !outputs_.empty()) {
            waitForEvents();
            reap();
        }
        logToolErrors();
    }

private:
    void waitForEvents() {
        std::vector<pollfd> events{{isConnected_ ? STDIN_FILENO : -1, POLLIN, 0},
                                   {toolErrors_.readEnd.get(), POLLIN, 0}};
        for (const auto& output : outputs_) {
            events.push_back(output.isFull ? pollfd{output.toProgram.get(), POLLOUT, 0}
                                           : pollfd{output.fromTool.get(), POLLIN, 0});
        }
        sigset_t none; // a child's end interrupts this wait, and nothing else
        ::sigemptyset(&none);
        if (::ppoll(events.data(), events.size(), nullptr, &none) < 0) {
            return;
        }
        for (std::size_t index = 0; index < outputs_.size(); ++index) {
            if (events[index + 2].revents != 0) {
                pass(outputs_[index]);
            }
        }
        std::erase_if(outputs_, [](const Output& output) { return !output.fromTool; });
        if (events[1].revents != 0) {
            logToolErrors();
        }
        if (events[0].revents != 0) {
            answerNextRequest();
        }
    }

    void reap() {
        while (::waitpid(-1, nullptr, WNOHANG) > 0) {
            --children_;
        }
    }

    void pass(Output& output) {
        constexpr std::size_t most = 64UL * 1024;
        const int target = output.toProgram ? output.toProgram.get() : null_.get();
        const bool wasFull = std::exchange(output.isFull, false);
        const ssize_t size =
            ::splice(output.fromTool.get(), nullptr, target, nullptr, most, SPLICE_F_NONBLOCK);
        if (size > 0 || (size < 0 && errno == EINTR)) {
            return;
        }
        if (size < 0 && errno == EPIPE) {
            output.toProgram.reset();
        } else if (size < 0 && errno == EAGAIN) {
            output.isFull = !wasFull;
        } else {
            output.fromTool.reset();
        }
    }

    /// Gives what the tools say to the system log, one entry a line.
    void logToolErrors() {
        std::array<char, 4096> bytes{};
        for (;;) {
            const ssize_t size = ::read(toolErrors_.readEnd.get(), bytes.data(), bytes.size());
            if (size <= 0) {
                return;
            }
            errorLine_.append(bytes.data(), static_cast<std::size_t>(size));
            for (std::size_t end = 0; (end = errorLine_.find('\n')) != std::string::npos;) {
                log(errorLine_.substr(0, end));
                errorLine_.erase(0, end + 1);
            }
            if (errorLine_.size() > longestLogLine) {
                log(std::exchange(errorLine_, {}));
            }
        }
    }

    void answerNextRequest() {
        // The length of a message that is too long is its own, and descriptors that come with one
        // are dropped by the system.
        const ssize_t size =
            ::recv(STDIN_FILENO, message_.data(), message_.size(), MSG_DONTWAIT | MSG_TRUNC);
        if (size <= 0) {
            const bool isOver = size == 0 || (errno != EAGAIN && errno != EINTR);
            isConnected_ = !isOver;
            return;
        }
        FileDescriptor output;
        Reply reply;
        try {
            const auto length = static_cast<std::size_t>(size);
            reply.status = length > message_.size()
                               ? refuse({Status::requestTooLarge, std::to_string(length)})
                               : run({message_.data(), length}, output);
        } catch (const Refusal& refusal) {
            reply.status = refuse(refusal);
        } catch (const std::bad_alloc&) {
            reply.status = refuse({Status::startFailed, "memory"});
        }
        isConnected_ = send(reply, output);
    }

    Status refuse(const Refusal& refusal) const {
        log("refused a request of user " + std::to_string(user_) + ": " + textOf(refusal.status) +
            ": " + refusal.about);
        return refusal.status;
    }

    Status run(std::string_view message, FileDescriptor& output) {
        Request request;
        const Status status = parseRequest(message, request);
        if (status == Status::started) {
            output = start(prepare(request, user_));
        } else if (status != Status::ready) {
            throw Refusal{status, std::to_string(message.size()) + " bytes"};
        }
        return status;
    }

    /// Starts the tool and gives the program's end of its output.
    FileDescriptor start(Command command) {
        const std::string path = command.path;
        Pipe fromTool = makePipe(0);
        Pipe toProgram = makePipe(0);
        Pipe report = makePipe(0);
        const pid_t child = ::fork();
        if (child < 0) {
            throw Refusal{Status::startFailed, path + ": " + std::to_string(errno)};
        }
        if (child == 0) {
            leaveTheHelperBehind(null_.get(), fromTool.writeEnd.get(), toolErrors_.writeEnd.get());
            fromTool = {};
            toProgram = {};
            outputs_.clear();
            runInChild(std::move(command), std::move(report.writeEnd), turns_);
        }
        ++children_;
        awaitStart(report, path);
        outputs_.push_back({std::move(fromTool.readEnd), std::move(toProgram.writeEnd)});
        return std::move(toProgram.readEnd);
    }

    /// Whether the program can still be talked to; one that leaves replies unread cannot.
    static bool send(Reply reply, const FileDescriptor& output) {
        iovec bytes{&reply, sizeof reply};
        alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(int))> control{};
        msghdr message{};
        message.msg_iov = &bytes;
        message.msg_iovlen = 1;
        if (output) {
            const int descriptor = output.get();
            message.msg_control = control.data();
            message.msg_controllen = control.size();
            cmsghdr* header = CMSG_FIRSTHDR(&message);
            header->cmsg_level = SOL_SOCKET;
            header->cmsg_type = SCM_RIGHTS;
            header->cmsg_len = CMSG_LEN(sizeof descriptor);
            std::memcpy(CMSG_DATA(header), &descriptor, sizeof descriptor);
        }
        return ::sendmsg(STDIN_FILENO, &message, MSG_NOSIGNAL | MSG_DONTWAIT) == sizeof reply;
    }

    const uid_t user_;
    FileDescriptor null_;
    /// What children lock that take turns.
    FileDescriptor turns_;
    Pipe toolErrors_;
    std::string errorLine_;
    std::string message_;
    std::vector<Output> outputs_;
    int children_ = 0;
    bool isConnected_ = true;
};

// ---- Before the session ------------------------------------------------------------------------

/// The user whom pkexec has authorized: what it says must be what the system says of the process
/// that made the connection. Gives the reason when there is none.
std::variant<uid_t, const char*> authorizedUser(const std::string& invoker) {
    if (::getuid() != 0 || ::geteuid() != 0) {
        return "it does not run as the superuser";
    }
    uid_t user = 0;
    const char* end = invoker.data() + invoker.size();
    const auto number = std::from_chars(invoker.data(), end, user);
    if (invoker.empty() || number.ec != std::errc() || number.ptr != end) {
        return "pkexec did not start it";
    }
    int domain = 0;
    int type = 0;
    ucred peer{};
    socklen_t size = sizeof(int);
    socklen_t peerSize = sizeof peer;
    if (::getsockopt(STDIN_FILENO, SOL_SOCKET, SO_DOMAIN, &domain, &size) != 0 ||
        ::getsockopt(STDIN_FILENO, SOL_SOCKET, SO_TYPE, &type, &size) != 0 || domain != AF_UNIX ||
        type != SOCK_SEQPACKET ||
        ::getsockopt(STDIN_FILENO, SOL_SOCKET, SO_PEERCRED, &peer, &peerSize) != 0) {
        return "its standard input is no connection";
    }
    if (peer.uid != user) {
        return "its connection is not the authorized user's";
    }
    return user;
}

/// Signals that a user or a terminal may send by way of the process group do not end the helper.
void settleSignals() {
    for (const int signal : {SIGHUP, SIGINT, SIGQUIT, SIGPIPE, SIGTSTP, SIGTTIN, SIGTTOU}) {
        ::signal(signal, SIG_IGN);
    }
    ::signal(SIGCHLD, [](int) {});
    sigset_t children;
    ::sigemptyset(&children);
    ::sigaddset(&children, SIGCHLD);
    ::sigprocmask(SIG_SETMASK, &children, nullptr);
}

/// The limits that a user has set do not stop a tool half-way, and nothing leaves a core dump.
void settleLimits() {
    struct Limit {
        int resource;
        rlim_t value;
    };
    constexpr rlim_t mostDescriptors = 256;
    for (const auto& limit : {Limit{RLIMIT_CORE, 0}, Limit{RLIMIT_NOFILE, mostDescriptors},
                              Limit{RLIMIT_CPU, RLIM_INFINITY}, Limit{RLIMIT_FSIZE, RLIM_INFINITY},
                              Limit{RLIMIT_DATA, RLIM_INFINITY}, Limit{RLIMIT_AS, RLIM_INFINITY}}) {
        const rlimit both{limit.value, limit.value};
        ::setrlimit(static_cast<__rlimit_resource>(limit.resource), &both);
    }
}

/// Leaves standard input, the connection, as the only thing that the caller has handed over.
void settleSurroundings() {
    ::clearenv();
    ::close_range(STDERR_FILENO + 1, ~0U, 0);
    int null = -1;
    do {
        null = ::open("/dev/null", O_RDWR | O_CLOEXEC);
    } while (null >= 0 && null <= STDERR_FILENO);
    ::dup2(null, STDOUT_FILENO);
    ::dup2(null, STDERR_FILENO);
    ::close(null);
    ::umask(S_IWGRP | S_IWOTH);
    if (::chdir("/") != 0) {
        ::_exit(EXIT_FAILURE);
    }
    settleSignals();
    settleLimits();
    ::openlog("qf-helper", LOG_PID | LOG_NDELAY, LOG_AUTHPRIV);
}

int serve() {
    const char* variable = ::getenv("PKEXEC_UID");
    const std::string invoker = variable == nullptr ? "" : variable;
    settleSurroundings();
    const auto user = authorizedUser(invoker);
    if (const auto* reason = std::get_if<const char*>(&user)) {
        log(std::string("refused to start: ") + *reason);
        return EXIT_FAILURE;
    }
    try {
        Session(std::get<uid_t>(user)).serve();
    } catch (const Refusal& refusal) {
        log(std::string("refused to start: ") + textOf(refusal.status) + ": " + refusal.about);
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}

} // namespace

} // namespace platform::native::helper

int main() {
    return platform::native::helper::serve();
}
