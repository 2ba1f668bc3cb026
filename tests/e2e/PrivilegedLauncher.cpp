// Starts a helper and becomes a program that inherits its connection:
//
//   privileged-launcher HELPER USER-ID PROGRAM ARGUMENT ...
//
// It runs as root. The program runs as the user, with the connection as a descriptor of its own.

#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <iostream>
#include <string>

namespace {

[[noreturn]] void fail(const char* what) {
    std::cerr << what << '\n';
    std::_Exit(EXIT_FAILURE);
}

[[noreturn]] void becomeHelper(const char* path, int connection) {
    ::dup2(connection, STDIN_FILENO);
    ::setenv("PKEXEC_UID", "0", 1);
    ::execl(path, path, nullptr);
    fail("no helper");
}

} // namespace

int main(int count, char** words) {
    std::array<int, 2> ends{};
    if (count < 4 || ::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()) != 0) {
        fail("usage: privileged-launcher HELPER USER-ID PROGRAM ARGUMENT ...");
    }
    const int yes = 1;
    ::setsockopt(ends[1], SOL_SOCKET, SO_PASSCRED, &yes, sizeof yes);
    const pid_t helper = ::fork();
    if (helper == 0) {
        becomeHelper(words[1], ends[1]);
    }
    const int inherited = ::dup(ends[0]); // without the flag that closes it in the program
    const auto user = static_cast<uid_t>(std::stoul(words[2]));
    ::setenv("QF_AUTHORIZATION_DESCRIPTOR", std::to_string(inherited).c_str(), 1);
    if (helper < 0 || ::setgid(user) != 0 || ::setuid(user) != 0) {
        fail("cannot become the user");
    }
    ::execv(words[3], words + 3);
    fail("no program");
}
