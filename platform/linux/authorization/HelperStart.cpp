#include "platform/linux/authorization/HelperStart.h"

#include "platform/foundation/Exception.h"
#include "platform/linux/process/Child.h"
#include "platform/linux/process/ChildReaper.h"
#include "platform/linux/process/Installation.h"
#include "platform/linux/process/Pipe.h"
#include "platform/linux/process/SpawnOptions.h"

#include <fcntl.h>
#include <sys/socket.h>

#include <array>
#include <charconv>
#include <cstdlib>
#include <string_view>

namespace qf::native {

namespace {

/// Holds the number of the descriptor that a privileged parent has left.
constexpr const char* inheritedDescriptor = "QF_AUTHORIZATION_DESCRIPTOR";
/// An inherited helper runs already; one that does not answer by then does not count.
constexpr std::chrono::seconds inheritedAnswerLimit{5};

/// What pkexec ends with when it has not become the helper.
constexpr int pkexecDismissed = 126;
constexpr int pkexecNotAuthorized = 127;

struct SocketPair {
    FileDescriptor ours;
    FileDescriptor theirs;
};

/// The helper's end tells from the first message on which process sends it.
SocketPair makeSocketPair() {
    std::array<int, 2> ends{-1, -1};
    if (::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()) != 0) {
        return {};
    }
    SocketPair pair{FileDescriptor(ends[0]), aboveStandardStreams(FileDescriptor(ends[1]))};
    constexpr int yes = 1;
    ::setsockopt(pair.theirs.get(), SOL_SOCKET, SO_PASSCRED, &yes, sizeof yes);
    return pair;
}

/// Starts pkexec with the connection as its standard input. What it says is dropped: what happened
/// shows in its status. Of the environment it needs nothing, and refuses some.
std::shared_ptr<Child> startPkexec(const HelperPaths& paths, const FileDescriptor& connection) {
    const auto null = aboveStandardStreams(FileDescriptor(::open("/dev/null", O_RDWR | O_CLOEXEC)));
    SpawnOptions options;
    options.connect(connection.get(), STDIN_FILENO);
    options.connect(null.get(), STDOUT_FILENO);
    options.connect(null.get(), STDERR_FILENO);
    options.closeOthers();
    std::array<std::string, 3> words{paths.pkexec, "--disable-internal-agent", paths.helper};
    const std::array<char*, 4> arguments{words[0].data(), words[1].data(), words[2].data(),
                                         nullptr};
    std::string path = "PATH=/usr/sbin:/usr/bin:/sbin:/bin";
    const std::array<char*, 2> environment{path.data(), nullptr};
    auto child = std::make_shared<Child>(std::vector<std::weak_ptr<qf::Pipe>>());
    pid_t identifier = 0;
    if (::posix_spawn(&identifier, paths.pkexec.c_str(), options.actions(), options.attributes(),
                      arguments.data(), environment.data()) != 0) {
        return nullptr;
    }
    child->begin(identifier);
    return child;
}

AuthorizationStatus authorizationStatusOf(int exitStatus) {
    switch (exitStatus) {
    case pkexecDismissed:
        return errAuthorizationCanceled;
    case pkexecNotAuthorized:
        return errAuthorizationDenied;
    default:
        return errAuthorizationInternal;
    }
}

StartedHelper start(const HelperPaths& paths) {
    SocketPair sockets = makeSocketPair();
    if (!sockets.theirs || ::access(paths.helper.c_str(), X_OK) != 0) {
        return Unexpected(errAuthorizationInternal);
    }
    ChildReaper& reaper = ChildReaper::shared();
    const auto child = startPkexec(paths, sockets.theirs);
    sockets.theirs.reset();
    if (!child) {
        return Unexpected(errAuthorizationInternal);
    }
    auto connection = std::make_shared<HelperConnection>(std::move(sockets.ours));
    if (connection->handshake()) {
        reaper.watch(ChildReaper::placeFor(child));
        return connection;
    }
    connection.reset();
    child->waitUntilExit();
    return Unexpected(authorizationStatusOf(child->terminationStatus()));
}

/// Whether a descriptor is a connection that root has made.
bool isRootsConnection(int descriptor) {
    int domain = 0;
    int type = 0;
    ucred peer{};
    socklen_t size = sizeof(int);
    socklen_t peerSize = sizeof peer;
    return ::getsockopt(descriptor, SOL_SOCKET, SO_DOMAIN, &domain, &size) == 0 &&
           ::getsockopt(descriptor, SOL_SOCKET, SO_TYPE, &type, &size) == 0 &&
           ::getsockopt(descriptor, SOL_SOCKET, SO_PEERCRED, &peer, &peerSize) == 0 &&
           domain == AF_UNIX && type == SOCK_SEQPACKET && peer.uid == 0;
}

int inheritedNumber() {
    const char* variable = std::getenv(inheritedDescriptor);
    const std::string_view text = variable == nullptr ? "" : variable;
    int number = -1;
    const auto result = std::from_chars(text.data(), text.data() + text.size(), number);
    return result.ptr == text.data() + text.size() && number > STDERR_FILENO ? number : -1;
}

} // namespace

HelperPaths HelperPaths::installed() {
    return in(installationDirectory(), "qf-helper");
}

HelperPaths HelperPaths::in(const std::string& directory, const std::string& name) {
    return {"/usr/bin/pkexec", directory + "/" + name};
}

StartedHelper startHelper(const HelperPaths& paths) {
    try {
        return start(paths);
    } catch (const qf::Exception&) {
        return Unexpected(errAuthorizationInternal);
    }
}

StartedHelper inheritedHelper() {
    const int number = inheritedNumber();
    if (number < 0 || !isRootsConnection(number)) {
        return Unexpected(errAuthorizationInternal);
    }
    ::fcntl(number, F_SETFD, FD_CLOEXEC);
    auto connection = std::make_shared<HelperConnection>(FileDescriptor(number));
    if (!connection->handshake(inheritedAnswerLimit)) {
        return Unexpected(errAuthorizationInternal);
    }
    return connection;
}

} // namespace qf::native
