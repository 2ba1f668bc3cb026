#include "platform/terminal/LogConsole.h"

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <string>

namespace {

constexpr int noNamespace = 77;

/// Becomes a process that has the system log's socket, and nothing else in its /dev; ends where it
/// may not.
int becomeSystemLog() {
    if (::unshare(CLONE_NEWNS) != 0 ||
        ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        ::mount("tmpfs", "/dev", "tmpfs", 0, nullptr) != 0) {
        std::_Exit(noNamespace);
    }
    const int socket = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{AF_UNIX, "/dev/log"};
    ::bind(socket, reinterpret_cast<sockaddr*>(&address), sizeof address);
    return socket;
}

/// Whether the log gets a text as a line ends, behind the kind, the date and the name.
bool isLogged(const std::string& text) {
    const int socket = becomeSystemLog();
    qf::terminal::LogConsole().systemLog(text);
    std::array<char, 1000> line{};
    const auto size = ::recv(socket, line.data(), line.size(), MSG_DONTWAIT);
    return size > 0 &&
           std::string(line.data(), static_cast<std::size_t>(size)).ends_with(": " + text);
}

TEST(LogConsole, GivesTheSystemLogItsTextsUnchanged) {
    const pid_t child = ::fork();
    if (child == 0) {
        std::_Exit(isLogged("50% %s %n done") ? EXIT_SUCCESS : EXIT_FAILURE);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    if (WIFEXITED(status) && WEXITSTATUS(status) == noNamespace) {
        GTEST_SKIP() << "no mount namespace";
    }
    EXPECT_EQ(status, 0);
}

} // namespace
