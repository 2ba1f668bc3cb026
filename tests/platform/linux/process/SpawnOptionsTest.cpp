#include "platform/linux/process/SpawnOptions.h"

#include "platform/linux/process/DescriptorStream.h"
#include "tests/platform/linux/process/ForkedProcess.h"

#include <gtest/gtest.h>

#include <fcntl.h>

#include <csignal>
#include <iterator>

namespace {

/// Has programs inherit a descriptor for a scope, whether it is open or not.
class InheritedDescriptor {
public:
    explicit InheritedDescriptor(int number) : number_(number), flags_(::fcntl(number, F_GETFD)) {
        if (flags_ < 0) {
            ::dup2(STDERR_FILENO, number_);
        } else {
            ::fcntl(number_, F_SETFD, 0);
        }
    }
    ~InheritedDescriptor() {
        if (flags_ < 0) {
            ::close(number_);
        } else {
            ::fcntl(number_, F_SETFD, flags_);
        }
    }
    InheritedDescriptor(const InheritedDescriptor&) = delete;
    InheritedDescriptor& operator=(const InheritedDescriptor&) = delete;
    InheritedDescriptor(InheritedDescriptor&&) = delete;
    InheritedDescriptor& operator=(InheritedDescriptor&&) = delete;

private:
    const int number_;
    const int flags_;
};

class SpawnOptionsTest : public testing::Test {
protected:
    pid_t spawn(const std::string& script) {
        std::string shell = "/bin/sh";
        std::string option = "-c";
        std::string text = script;
        std::array<char*, 4> arguments{shell.data(), option.data(), text.data(), nullptr};
        pid_t child = -1;
        EXPECT_EQ(::posix_spawn(&child, shell.c_str(), options_.actions(), options_.attributes(),
                                arguments.data(), ::environ),
                  0);
        return child;
    }

    /// What a script writes to its standard output.
    std::string outputOf(const std::string& script) {
        options_.connect(output_.writing.get(), STDOUT_FILENO);
        options_.closeOthers();
        const auto child = spawn(script);
        output_.writing.reset();
        qf::native::DescriptorStream stream(std::move(output_.reading));
        std::string text{std::istreambuf_iterator<char>(stream), {}};
        EXPECT_EQ(exitStatusOf(child), 0);
        return text;
    }

    ForkedPipe output_;
    qf::native::SpawnOptions options_;
};

TEST_F(SpawnOptionsTest, ConnectAStreamOfTheChild) {
    EXPECT_EQ(outputOf("echo text"), "text\n");
}

TEST_F(SpawnOptionsTest, LeaveTheChildItsStandardStreamsAlone) {
    const InheritedDescriptor first(STDERR_FILENO + 1);
    const InheritedDescriptor other(50);
    EXPECT_EQ(outputOf("for d in /proc/$$/fd/*; do [ -e $d ] && printf '%s ' ${d##*/}; done; :"),
              "0 1 2 ");
}

TEST_F(SpawnOptionsTest, BeginWithNoSignalBlockedOrIgnored) {
    sigset_t blocked;
    sigset_t former;
    ::sigemptyset(&blocked);
    ::sigaddset(&blocked, SIGTERM);
    ::pthread_sigmask(SIG_BLOCK, &blocked, &former);
    auto* const pipeSignal = std::signal(SIGPIPE, SIG_IGN);

    const auto child = spawn("kill -PIPE $$; exit 1");
    const auto other = spawn("kill -TERM $$; exit 1");

    std::signal(SIGPIPE, pipeSignal);
    ::pthread_sigmask(SIG_SETMASK, &former, nullptr);
    for (const auto& [process, signal] : {std::pair{child, SIGPIPE}, std::pair{other, SIGTERM}}) {
        int status = 0;
        ASSERT_EQ(::waitpid(process, &status, 0), process);
        EXPECT_TRUE(WIFSIGNALED(status)) << signal;
        EXPECT_EQ(WTERMSIG(status), signal);
    }
}

TEST_F(SpawnOptionsTest, BeginWithAProcessGroupOfItsOwn) {
    const auto child = spawn("exit 0");

    EXPECT_EQ(::getpgid(child), child);

    EXPECT_EQ(exitStatusOf(child), 0);
}

TEST_F(SpawnOptionsTest, BeginASessionOnRequest) {
    options_.beginSession();
    const auto child = spawn("exit 0");

    EXPECT_EQ(::getsid(child), child);
    EXPECT_EQ(::getpgid(child), child);

    EXPECT_EQ(exitStatusOf(child), 0);
}

} // namespace
