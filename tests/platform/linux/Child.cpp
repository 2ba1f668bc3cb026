// What the tests of the Linux ports run in a process of its own. Each command prints "ok", or the
// number and the sentence of the Error, then the lines of the system log, and then how many faults
// the library of faulty system calls has caused.

#include "platform/AuthorizationServices.h"
#include "platform/Clock.h"
#include "platform/Digests.h"
#include "platform/ExtendedAttributes.h"
#include "platform/Inhibitors.h"
#include "platform/LogFiles.h"
#include "platform/LoginAccounts.h"
#include "platform/Preferences.h"
#include "platform/ProcessCopies.h"
#include "platform/ProcessLauncher.h"
#include "platform/Services.h"
#include "platform/StartUp.h"
#include "platform/SystemInformation.h"
#include "platform/UserAccount.h"
#include "platform/linux/desktop/MountTable.h"
#include "platform/linux/desktop/Trash.h"
#include "platform/linux/desktop/Volumes.h"
#include "platform/linux/desktop/Workspace.h"
#include "platform/linux/files/FileStreams.h"
#include "platform/linux/files/FileSystem.h"
#include "platform/linux/plist/PropertyLists.h"
#include "platform/linux/posix/ItemPlace.h"
#include "platform/linux/process/Installation.h"
#include "platform/linux/process/Modules.h"
#include "platform/linux/system/SearchPaths.h"
#include "platform/linux/system/UserAccount.h"
#include "tests/support/PortDoubles.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <future>
#include <iostream>
#include <latch>
#include <map>

namespace {

using Arguments = std::vector<std::string>;

int perform(const Arguments& arguments);

template <class T>
int report(const qf::Result<T>& result) {
    if (result) {
        std::cout << "ok\n";
    } else {
        std::cout << result.error().code << ' ' << result.error().localizedDescription << '\n';
    }
    return result ? 0 : 1;
}

RecordingConsole console;

/// The desktop's services, with what they need.
struct Desktop {
    qf::native::UserAccount account;
    qf::native::SearchPaths searchPaths{account};
    qf::native::PropertyLists propertyLists;
    qf::native::Workspace workspace{account, searchPaths, propertyLists};
};

/// Trashes the items with the names after the first two arguments, and stops at a failure.
int recycle(const Arguments& arguments) {
    Desktop desktop;
    qf::Result<std::string> recycled{std::string()};
    for (std::size_t i = 2; i < arguments.size() && recycled; ++i) {
        recycled = desktop.workspace.recycle(arguments.at(0), arguments.at(1), arguments.at(i));
    }
    desktop.workspace.makeTrashDurable();
    return report(recycled);
}

/// Announces the items with the names after the first two arguments, runs the shell command that
/// the environment has, and then trashes all as recycle() does.
int recycleAnnounced(const Arguments& arguments) {
    Desktop desktop;
    std::vector<std::string> paths;
    for (std::size_t i = 2; i < arguments.size(); ++i) {
        paths.push_back(arguments.at(0) + "/" + arguments.at(i));
    }
    desktop.workspace.prepareToRecycle(arguments.at(1), paths);
    if (const char* command = std::getenv("QF_MEANWHILE")) {
        std::system(command); // NOLINT(concurrency-mt-unsafe): the only thread
    }
    qf::Result<std::string> recycled{std::string()};
    for (std::size_t i = 2; i < arguments.size() && recycled; ++i) {
        recycled = desktop.workspace.recycle(arguments.at(0), arguments.at(1), arguments.at(i));
    }
    desktop.workspace.makeTrashDurable();
    return report(recycled);
}

/// Trashes one item, and prints its path in the Trash.
int placeInTrash(const Arguments& arguments) {
    Desktop desktop;
    const auto place = desktop.workspace.recycle(arguments.at(0), arguments.at(1), arguments.at(2));
    std::cout << place.value_or("") << '\n';
    return place ? 0 : 1;
}

/// Trashes an item of one name, which it makes each time, as often as the third argument says.
int recycleNamesakes(const Arguments& arguments) {
    Desktop desktop;
    qf::Result<std::string> recycled{std::string()};
    const auto item = arguments.at(0) + "/namesake";
    for (int count = std::stoi(arguments.at(2)); count > 0 && recycled; --count) {
        ::close(::open(item.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
        recycled = desktop.workspace.recycle(arguments.at(0), arguments.at(1), "namesake");
    }
    return report(recycled);
}

/// Announces an item on each of several threads at once, begins and ends a move that does not come
/// about, and trashes the item; as often as the third argument says, each time with a Trash that
/// has not been used yet.
int recycleOnThreads(const Arguments& arguments) {
    constexpr int threads = 4;
    const auto& directory = arguments.at(0);
    const auto& trash = arguments.at(1);
    // GLib finds the data directory only once, with a lock that ThreadSanitizer does not see.
    static_cast<void>(qf::native::makeTrash(trash));
    qf::Result<std::string> recycled{std::string()};
    for (int round = std::stoi(arguments.at(2)); round > 0 && recycled; --round) {
        Desktop desktop;
        std::latch start(threads);
        const auto recycleOne = [&](const std::string& name) {
            const auto item = directory + '/' + name;
            ::close(::open(item.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
            start.arrive_and_wait();
            desktop.workspace.prepareToRecycle(trash, {item});
            if (const auto end = desktop.workspace.moveTrashed(item, trash + "/not " + name)) {
                (*end)();
            }
            auto own = desktop.workspace.recycle(directory, trash, name);
            desktop.workspace.makeTrashDurable();
            return own;
        };
        std::vector<std::future<qf::Result<std::string>>> running;
        for (int thread = 0; thread < threads; ++thread) {
            const auto name = std::to_string(round) + '-' + std::to_string(thread);
            running.push_back(std::async(std::launch::async, recycleOne, name));
        }
        for (auto& thread : running) {
            auto own = thread.get();
            recycled = recycled ? std::move(own) : std::move(recycled);
        }
    }
    return report(recycled);
}

/// Trashes an item "a", deletes a directory, and trashes "c".
int recycleAround(const Arguments& arguments) {
    Desktop desktop;
    auto recycled = desktop.workspace.recycle(arguments.at(0), arguments.at(1), "a");
    std::filesystem::remove_all(arguments.at(2));
    if (recycled) {
        recycled = desktop.workspace.recycle(arguments.at(0), arguments.at(1), "c");
    }
    return report(recycled);
}

/// Moves an item, the first argument, to its place in the Trash, the second, as the administrator's
/// tool does, if there is no third.
int moveTrashed(const Arguments& arguments) {
    Desktop desktop;
    const auto end = desktop.workspace.moveTrashed(arguments.at(0), arguments.at(1));
    if (!end) {
        return report(end);
    }
    if (arguments.size() < 3 &&
        std::rename(arguments.at(0).c_str(), arguments.at(1).c_str()) != 0) {
        return errno;
    }
    (*end)();
    return 0;
}

/// Announces the item "namesake" of a directory, the first argument. Moves another item, the third,
/// to its place, the fourth, as the administrator's tool does; then trashes the first one.
int moveTrashedBesideNamesake(const Arguments& arguments) {
    Desktop desktop;
    const auto& directory = arguments.at(0);
    const auto& trash = arguments.at(1);
    const auto& other = arguments.at(2);
    const auto& place = arguments.at(3);
    desktop.workspace.prepareToRecycle(trash, {directory + "/namesake"});
    const auto end = desktop.workspace.moveTrashed(other, place);
    if (!end || std::rename(other.c_str(), place.c_str()) != 0) {
        return 1;
    }
    (*end)();
    const auto recycled = desktop.workspace.recycle(directory, trash, "namesake");
    desktop.workspace.makeTrashDurable();
    return report(recycled);
}

/// Prints the items in a Trash, each with its place and its former path.
int listTrash(const Arguments& arguments) {
    Desktop desktop;
    const auto items = desktop.workspace.itemsInTrash(arguments.at(0));
    for (const auto& [place, path] : items.value_or(std::vector<qf::ItemInTrash>())) {
        std::cout << place << " from " << path << '\n';
    }
    return items ? 0 : report(qf::Result<void>(qf::Unexpected(items.error())));
}

int putBack(const Arguments& arguments) {
    Desktop desktop;
    return report(desktop.workspace.putBack(arguments.at(0), arguments.at(1)));
}

int finishPutBack(const Arguments& arguments) {
    Desktop desktop;
    desktop.workspace.finishPutBack(arguments.at(0), arguments.at(1));
    return 0;
}

int forgetTrashed(const Arguments& arguments) {
    Desktop desktop;
    desktop.workspace.forgetTrashed(arguments.at(0), arguments.at(1));
    return 0;
}

/// Makes a folder in a directory whose path is too long for a system call, mounts a volume in it,
/// and trashes it.
int recycleFarMount(const Arguments& arguments) {
    const auto& directory = arguments.at(0);
    if (::unshare(CLONE_NEWNS) != 0 ||
        ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) {
        return 1;
    }
    const auto folder = qf::native::findPlace(directory + "/folder");
    if (!folder || ::fchdir(folder->directory.get()) != 0 || ::mkdir("folder", S_IRWXU) != 0 ||
        ::mkdir("folder/volume", S_IRWXU) != 0 ||
        ::mount("none", "folder/volume", "tmpfs", 0, nullptr) != 0) {
        return 1;
    }
    Desktop desktop;
    return report(desktop.workspace.recycle(directory, arguments.at(1), "folder"));
}

/// Deletes what killed processes left of copies in a directory.
int removeAbandoned(const Arguments& arguments) {
    qf::native::FileSystem().removeAbandonedCopies(arguments.at(0));
    return 0;
}

int makeTrash(const Arguments& arguments) {
    return qf::native::makeTrash(arguments.at(0)) ? 0 : 1;
}

int remove(const Arguments& arguments) {
    return report(qf::native::FileSystem().removeItem(arguments.at(0)));
}

int move(const Arguments& arguments) {
    return report(qf::native::FileSystem().moveItem(arguments.at(0), arguments.at(1)));
}

int copy(const Arguments& arguments) {
    return report(qf::native::FileSystem().copyItem(arguments.at(0), arguments.at(1)));
}

int create(const Arguments& arguments) {
    return report(qf::native::FileSystem().createDirectory(arguments.at(0)));
}

int write(const Arguments& arguments) {
    return report(qf::native::FileSystem().writeAtomically(arguments.at(0), arguments.at(1)));
}

/// Fills a file beside the first argument with the second, gives it the metadata of the third, if
/// there is one, and then the name.
int fill(const Arguments& arguments) {
    const auto file = qf::native::FileStreams().openBeside(arguments.at(0), {}, 0);
    if (!file) {
        std::cout << "not opened\n";
        return 1;
    }
    const auto bytes = std::as_bytes(std::span(arguments.at(1)));
    const bool isWritten = (*file)->write(bytes) == bytes.size();
    if (arguments.size() > 2) {
        const auto source = qf::native::FileStreams().openForReading(arguments.at(2));
        static_cast<void>((*file)->copyMetadata(**source));
    }
    const bool isNamed = isWritten && (*file)->takeName();
    std::cout << (isNamed ? "ok\n" : "not named\n");
    return 0;
}

int unlock(const Arguments& arguments) {
    return report(qf::native::FileSystem().setImmutable(arguments.at(0), false));
}

int lock(const Arguments& arguments) {
    return report(qf::native::FileSystem().setImmutable(arguments.at(0), true));
}

/// Prints each path, a zero byte behind it.
int volumes(const Arguments& /*arguments*/) {
    for (const auto& volume : qf::native::mountedLocalVolumes()) {
        std::cout << volume.mountPoint << '\0';
    }
    return 0;
}

/// Mounts a volume on the first argument, in a namespace of its own, and prints whether a mount is
/// found in the second before, during and after.
int mountsIn(const Arguments& arguments) {
    qf::native::MountTable table;
    const char* place = arguments.at(0).c_str();
    if (::unshare(CLONE_NEWNS) != 0 ||
        ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) {
        return 1;
    }
    const auto hasMount = [&] { return table.hasMountIn(arguments.at(1)).value(); };
    std::cout << hasMount();
    const int mounted = ::mount("none", place, "tmpfs", 0, nullptr);
    std::cout << ' ' << hasMount();
    const int unmounted = ::umount(place);
    std::cout << ' ' << hasMount() << '\n';
    return mounted == 0 && unmounted == 0 ? 0 : 1;
}

int account(const Arguments& /*arguments*/) {
    qf::native::UserAccount account;
    std::cout << account.realUserId() << '\n'
              << account.loginName() << '\n'
              << account.homeDirectory() << '\n';
    return 0;
}

int state(const Arguments& /*arguments*/) {
    std::cout << qf::native::UserAccount().stateDirectory() << '\n';
    return 0;
}

int environment(const Arguments& /*arguments*/) {
    qf::installServices();
    const auto value = [](const char* name) {
        const char* found = std::getenv(name);
        return std::string(found == nullptr ? "none" : found);
    };
    std::cout << value("HOME") << '\n' << value("XDG_DATA_HOME") << '\n';
    return 0;
}

/// Prints the ports that have no implementation after the start.
template <class... Ports>
void printMissing() {
    ((qf::installedService<Ports>() == nullptr ? std::cout << Ports::portName << '\n' : std::cout),
     ...);
}

int missingPorts(const Arguments& /*arguments*/) {
    qf::installServices();
    printMissing<qf::Console, qf::Clock, qf::SystemInformation, qf::LogFiles, qf::ProcessCopies,
                 qf::UserAccount, qf::SearchPaths, qf::FileSystem, qf::ExtendedAttributes,
                 qf::FileStreams, qf::Digests, qf::PropertyLists, qf::Preferences,
                 qf::ProcessLauncher, qf::Workspace, qf::AuthorizationServices, qf::Inhibitors,
                 qf::Modules, qf::LoginAccounts>();
    return 0;
}

int installationDirectory(const Arguments& /*arguments*/) {
    std::cout << qf::native::installationDirectory() << '\n';
    return 0;
}

/// Prints what a module returns.
int callModule(const Arguments& arguments) {
    const auto function =
        qf::native::Modules(qf::native::installationDirectory()).function(arguments.at(0));
    if (!function) {
        return report(function);
    }
    std::cout << reinterpret_cast<int (*)()>(*function)() << '\n';
    return 0;
}

/// Returns how many of the standard streams are closed.
int closedStreams(const Arguments& /*arguments*/) {
    qf::installServices();
    int closed = 0;
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        closed += ::fcntl(stream, F_GETFD) < 0 ? 1 : 0;
    }
    return closed;
}

/// Returns whether nothing can be written to standard output.
int failingOutput(const Arguments& /*arguments*/) {
    qf::installServices();
    return ::write(STDOUT_FILENO, "x", 1) < 0 ? 1 : 0;
}

int storePreference(const Arguments& arguments) {
    qf::ProgramDescription program;
    if (arguments.size() > 1) {
        program.identifier = arguments.at(1);
    }
    qf::installServices(program);
    qf::install<qf::Console>(console);
    qf::service<qf::Preferences>().setValue(arguments.at(0), true);
    return 0;
}

/// Runs another command where every volume is read-only: one that would harm the machine if it were
/// not refused.
int withoutWriting(const Arguments& arguments) {
    mount_attr readOnly{};
    readOnly.attr_set = MOUNT_ATTR_RDONLY;
    readOnly.propagation = MS_PRIVATE;
    if (::unshare(CLONE_NEWNS) != 0 ||
        ::mount_setattr(AT_FDCWD, "/", AT_RECURSIVE, &readOnly, sizeof readOnly) != 0) {
        std::cout << "volumes cannot be made read-only: " << std::strerror(errno) << '\n';
        return 1;
    }
    return perform(arguments);
}

const std::map<std::string, std::function<int(const Arguments&)>> commands{
    {"recycle", recycle},
    {"list-trash", listTrash},
    {"put-back", putBack},
    {"finish-put-back", finishPutBack},
    {"forget-trashed", forgetTrashed},
    {"make-trash", makeTrash},
    {"recycle-far-mount", recycleFarMount},
    {"remove-abandoned", removeAbandoned},
    {"recycle-announced", recycleAnnounced},
    {"place-in-trash", placeInTrash},
    {"recycle-namesakes", recycleNamesakes},
    {"recycle-on-threads", recycleOnThreads},
    {"recycle-around", recycleAround},
    {"move-trashed", moveTrashed},
    {"move-trashed-beside-namesake", moveTrashedBesideNamesake},
    {"remove", remove},
    {"unlock", unlock},
    {"lock", lock},
    {"account", account},
    {"state", state},
    {"environment", environment},
    {"missing-ports", missingPorts},
    {"installation-folder", installationDirectory},
    {"closed-streams", closedStreams},
    {"failing-output", failingOutput},
    {"store-preference", storePreference},
    {"module", callModule},
    {"move", move},
    {"copy", copy},
    {"create", create},
    {"write", write},
    {"fill", fill},
    {"volumes", volumes},
    {"mounts-in", mountsIn},
    {"without-writing", withoutWriting},
};

int perform(const Arguments& arguments) {
    return commands.at(arguments.at(0))(Arguments(arguments.begin() + 1, arguments.end()));
}

/// Calls into the library of faulty system calls, where the program was started with it.
template <typename Result>
Result callFaultyCalls(const char* function) {
    void* found = ::dlsym(RTLD_DEFAULT, function);
    return found == nullptr ? Result() : reinterpret_cast<Result (*)()>(found)();
}

} // namespace

int main(int argc, char** argv) {
    const Arguments arguments(argv + 1, argv + argc);
    qf::install<qf::Console>(console);
    callFaultyCalls<void>("qfBeginFaults");
    const int status = perform(arguments);
    const int faults = callFaultyCalls<int>("qfEndFaults");
    for (const auto& line : console.systemLogLines()) {
        std::cout << "log: " << line << '\n';
    }
    if (faults > 0) {
        std::cout << "faults: " << faults << '\n';
    }
    return status;
}
