#include "platform/linux/system/Console.h"

#include "tests/support/NamedCase.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <array>
#include <csignal>
#include <fcntl.h>
#include <future>
#include <pty.h>
#include <sstream>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

/// Redirects one of the process's streams for a scope.
class Redirection {
public:
    Redirection(int stream, int target) : stream_(stream), former_(::dup(stream)) {
        ::dup2(target, stream);
        ::close(target);
    }
    ~Redirection() {
        ::dup2(former_, stream_);
        ::close(former_);
    }
    Redirection(const Redirection&) = delete;
    Redirection& operator=(const Redirection&) = delete;
    Redirection(Redirection&&) = delete;
    Redirection& operator=(Redirection&&) = delete;

private:
    int stream_;
    int former_;
};

class Console : public testing::Test {
protected:
    int openFile() const { return ::open(path.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC); }

    TemporaryDirectory directory;
    std::string path = directory.write("output");
    qf::native::Console console;
};

} // namespace

TEST_F(Console, PrintsTextUnchangedOnStandardOutput) {
    {
        const Redirection output(STDOUT_FILENO, openFile());
        console.print("100%n %s\n");
        console.print(std::string_view("a\0b", 3));
    }
    EXPECT_EQ(contentOf(path), std::string("100%n %s\na\0b", 12));
}

TEST_F(Console, ShowsWhatWouldSteerATerminalInsteadOfSendingIt) {
    int terminal = -1;
    int stream = -1;
    ASSERT_EQ(::openpty(&terminal, &stream, nullptr, nullptr, nullptr), 0);
    {
        const Redirection redirection(STDOUT_FILENO, stream);
        console.print("a\x1B[2J\tb\x07\n");
        std::array<char, 100> shown{};
        const auto size = ::read(terminal, shown.data(), shown.size());
        EXPECT_EQ(std::string(shown.data(), static_cast<std::size_t>(size)),
                  "a\\x1B[2J\tb\\x07\r\n");
    }
    ::close(terminal);
}

TEST_F(Console, WritesALineToStandardErrorForTheSystemLog) {
    {
        const Redirection output(STDERR_FILENO, openFile());
        console.systemLog("50% %n done");
        console.systemLog("");
    }
    EXPECT_EQ(contentOf(path), "50% %n done\n\n");
}

TEST_F(Console, NeverTearsALineOfAnotherThread) {
    {
        const Redirection output(STDOUT_FILENO, openFile());
        std::vector<std::future<void>> threads;
        threads.reserve(4);
        for (int thread = 0; thread < 4; ++thread) {
            threads.push_back(std::async(std::launch::async, [this, thread] {
                const std::string line(static_cast<std::size_t>(1000 + thread),
                                       static_cast<char>('a' + thread));
                for (int i = 0; i < 200; ++i) {
                    console.print(line + "\n");
                }
            }));
        }
    }
    std::istringstream lines(contentOf(path));
    int count = 0;
    for (std::string line; std::getline(lines, line); ++count) {
        const auto length = 1000U + static_cast<unsigned>(line.at(0) - 'a');
        ASSERT_EQ(line, std::string(length, line.at(0)));
    }
    EXPECT_EQ(count, 800);
}

TEST_F(Console, LosesWhatNobodyReadsAndGoesOn) {
    std::array<int, 2> pipe{};
    ASSERT_EQ(::pipe2(pipe.data(), O_CLOEXEC), 0);
    ::close(pipe[0]);
    {
        const Redirection output(STDOUT_FILENO, pipe[1]);
        console.print("to nobody\n");
    }
    sigset_t pending{};
    sigpending(&pending);
    EXPECT_EQ(sigismember(&pending, SIGPIPE), 0);
}

class ConsoleBesideASignal : public Console, public testing::WithParamInterface<NamedValue<int>> {};

TEST_P(ConsoleBesideASignal, LeavesItToThoseWhoHoldItBack) {
    sigset_t signals{};
    sigset_t former{};
    sigemptyset(&signals);
    sigaddset(&signals, GetParam().value);
    ::pthread_sigmask(SIG_BLOCK, &signals, &former);
    ::raise(GetParam().value);
    {
        const Redirection output(STDOUT_FILENO, openFile());
        console.print("text\n");
    }
    const timespec atOnce{};
    EXPECT_EQ(::sigtimedwait(&signals, nullptr, &atOnce), GetParam().value);
    ::pthread_sigmask(SIG_SETMASK, &former, nullptr);
}

INSTANTIATE_TEST_SUITE_P(, ConsoleBesideASignal,
                         testing::Values(NamedValue<int>{{"OfAPipe"}, SIGPIPE},
                                         NamedValue<int>{{"OfALimit"}, SIGXFSZ}),
                         nameOfCase);

TEST_F(Console, LosesWhatHasNoRoomAndGoesOn) {
    const int full = ::open("/dev/full", O_WRONLY | O_CLOEXEC);
    if (full < 0) {
        GTEST_SKIP() << "this machine has no /dev/full to write to";
    }
    const Redirection output(STDOUT_FILENO, full);
    EXPECT_NO_THROW(console.print("to a full disk\n"));
}

TEST_F(Console, WaitsForRoomOnAStreamThatDoesNotBlock) {
    std::array<int, 2> pipe{};
    ASSERT_EQ(::pipe2(pipe.data(), O_CLOEXEC | O_NONBLOCK), 0);
    const std::string text(1 << 20, 'x');
    std::string received;
    auto reader = std::async(std::launch::async, [&received, &pipe] {
        std::array<char, 65536> buffer{};
        for (;;) {
            const auto size = ::read(pipe[0], buffer.data(), buffer.size());
            if (size == 0) {
                return;
            }
            if (size > 0) {
                received.append(buffer.data(), static_cast<std::size_t>(size));
            }
        }
    });
    {
        const Redirection output(STDOUT_FILENO, pipe[1]);
        console.print(text);
    }
    reader.get();
    ::close(pipe[0]);
    EXPECT_EQ(received, text);
}
