// qf-helper: starts tools as the superuser for one program, whose user pkexec has authorized.
//
// The program makes a socket pair and starts this through pkexec with one end as descriptor 0. The
// connection is the right: that process, and no other that holds the other end, may have any tool
// started that only root may change, as its user could with pkexec itself, but without being asked
// again. Nothing is read from the environment but what pkexec puts there, nothing from the command
// line, no file is configuration.

#include "platform/linux/authorization/helper/Refusal.h"
#include "platform/linux/authorization/helper/Session.h"
#include "platform/linux/authorization/helper/SystemLog.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <csignal>
#include <cstdlib>
#include <stdexcept>
#include <string>

namespace qf::native::helper {

namespace {

/// Nothing leaves a core dump, and no other process looks into this one.
void keepToItself() {
    ::prctl(PR_SET_DUMPABLE, 0);
    constexpr rlimit none{0, 0};
    ::setrlimit(RLIMIT_CORE, &none);
}

/// What a user or a terminal may send by way of the process group does not end the helper, nor does
/// the end of the thread that started it, nor a timer that ran before it was started.
void settleSignals() {
    ::prctl(PR_SET_PDEATHSIG, 0);
    constexpr itimerval never{};
    ::setitimer(ITIMER_REAL, &never, nullptr);
    ::setitimer(ITIMER_VIRTUAL, &never, nullptr);
    ::setitimer(ITIMER_PROF, &never, nullptr);
    for (const int signal : {SIGHUP, SIGINT, SIGQUIT, SIGPIPE, SIGTSTP, SIGTTIN, SIGTTOU, SIGALRM,
                             SIGVTALRM, SIGPROF}) {
        ::signal(signal, SIG_IGN); // one that is pending goes
    }
    ::signal(SIGCHLD, [](int) {});
    sigset_t children;
    ::sigemptyset(&children);
    ::sigaddset(&children, SIGCHLD);
    ::sigprocmask(SIG_SETMASK, &children, nullptr);
}

/// The limits that a user has set do not stop a tool half-way.
void settleLimits() {
    struct Limit {
        int resource;
        rlim_t value;
    };
    constexpr rlim_t mostDescriptors = 256;
    constexpr rlim_t usualStack = 8UL << 20U; // without a limit, programs are laid out predictably
    for (const auto& limit :
         {Limit{RLIMIT_NOFILE, mostDescriptors}, Limit{RLIMIT_STACK, usualStack},
          Limit{RLIMIT_CPU, RLIM_INFINITY}, Limit{RLIMIT_FSIZE, RLIM_INFINITY},
          Limit{RLIMIT_DATA, RLIM_INFINITY}, Limit{RLIMIT_AS, RLIM_INFINITY}}) {
        const auto resource = static_cast<__rlimit_resource>(limit.resource);
        rlimit set{};
        ::getrlimit(resource, &set);
        set = {limit.value, std::max(limit.value, set.rlim_max)}; // a copy may need the most
        ::setrlimit(resource, &set);
    }
}

/// The helper and its tools are neither put off nor picked when memory is short because the program
/// was to be.
void settlePriority() {
    ::setpriority(PRIO_PROCESS, 0, 0);
    const int file = ::open("/proc/self/oom_score_adj", O_WRONLY | O_CLOEXEC);
    const bool isSet = file >= 0 && ::write(file, "0", 1) == 1;
    ::close(file);
    if (!isSet) {
        log("its standing when memory is short stays as it was");
    }
}

/// Has the output and the errors of the helper go nowhere, and tells whether they do.
bool dropStreams() {
    int null = -1;
    do {
        null = ::open("/dev/null", O_RDWR | O_CLOEXEC);
    } while (null >= 0 && null <= STDERR_FILENO);
    const bool areDropped = ::dup2(null, STDOUT_FILENO) >= 0 && ::dup2(null, STDERR_FILENO) >= 0;
    ::close(null);
    return areDropped;
}

/// Leaves standard input, the connection, as the only thing that the caller has handed over. Throws
/// the reason when it cannot.
void settleSurroundings() {
    ::clearenv();
    ::close_range(STDERR_FILENO + 1, ~0U, 0);
    const bool areStreamsDropped = dropStreams();
    openLog();
    if (!areStreamsDropped) {
        throw std::runtime_error("it cannot open /dev/null");
    }
    ::umask(S_IWGRP | S_IWOTH);
    if (::chdir("/") != 0) {
        throw std::runtime_error("it cannot enter /");
    }
    settleSignals();
    settleLimits();
}

/// The process that made the connection. Its user must be the one whom pkexec says that it has
/// authorized. Throws the reason otherwise.
ucred authorizedPeer(const std::string& invoker) {
    if (::getuid() != 0 || ::geteuid() != 0) {
        throw std::runtime_error("it does not run as the superuser");
    }
    uid_t user = 0;
    const char* end = invoker.data() + invoker.size();
    const auto number = std::from_chars(invoker.data(), end, user);
    if (invoker.empty() || number.ec != std::errc() || number.ptr != end) {
        throw std::runtime_error("pkexec did not start it");
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
        throw std::runtime_error("its standard input is no connection");
    }
    if (peer.uid != user) {
        throw std::runtime_error("its connection is not the authorized user's");
    }
    return peer;
}

/// Serves the user to the end of the session.
void serve() {
    const char* variable = ::getenv("PKEXEC_UID");
    const std::string invoker = variable == nullptr ? "" : variable;
    settleSurroundings();
    const ucred peer = authorizedPeer(invoker);
    settlePriority();
    Session(peer.uid, Peer(peer.pid)).serve();
}

int refuseToStart(const std::string& reason) {
    log("refused to start: " + reason);
    return EXIT_FAILURE;
}

} // namespace

} // namespace qf::native::helper

int main() {
    using namespace qf::native::helper;
    keepToItself();
    try {
        serve();
        return EXIT_SUCCESS;
    } catch (const std::runtime_error& error) {
        return refuseToStart(error.what());
    } catch (const Refusal& refusal) {
        return refuseToStart(sentence(refusal));
    }
}
