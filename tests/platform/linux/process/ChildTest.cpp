#include "platform/linux/process/Child.h"

#include "tests/platform/linux/process/ForkedProcess.h"

#include <gtest/gtest.h>

#include <poll.h>

#include <csignal>

using qf::native::Child;

namespace {

/// Counts how often its reader is told not to wait.
class CountingPipe : public qf::Pipe {
public:
    bool appendAvailable(std::vector<std::byte>& /*bytes*/) override { return false; }
    void stopWaiting() override { ++count; }
    void closeReadEnd() override {}

    int count = 0;
};

class ChildTest : public testing::Test {
protected:
    /// A process that leads a group, as launched ones do.
    template <class Body>
    pid_t leader(Body body) {
        const auto process = forked([&] {
            ::setpgid(0, 0);
            return body();
        });
        ::setpgid(process, process);
        return process;
    }

    /// A process that ends with status 3 once the gate is open.
    pid_t gated() {
        return leader([this] {
            gate_.waitForEnd();
            return 3;
        });
    }
    void openGate() { gate_.writing.reset(); }

    ForkedPipe gate_;
    std::shared_ptr<CountingPipe> output_ = std::make_shared<CountingPipe>();
    Child child_{{output_}};
};

TEST_F(ChildTest, TellsWhetherItRunsAndWithWhichStatusItEnded) {
    const auto process = gated();
    child_.begin(process);
    EXPECT_EQ(child_.processIdentifier(), process);
    EXPECT_TRUE(child_.isRunning());

    openGate();
    child_.waitUntilExit();

    EXPECT_FALSE(child_.isRunning());
    EXPECT_EQ(child_.terminationStatus(), 3);
}

TEST_F(ChildTest, TellsTheSignalThatEndedIt) {
    child_.begin(leader([] { return ::raise(SIGKILL); }));

    child_.waitUntilExit();

    EXPECT_EQ(child_.terminationStatus(), SIGKILL);
}

TEST_F(ChildTest, HasADescriptorThatIsReadableOnceItHasEnded) {
    child_.begin(gated());
    pollfd waiting{child_.descriptor(), POLLIN, 0};
    EXPECT_EQ(::poll(&waiting, 1, 0), 0);

    openGate();

    EXPECT_EQ(::poll(&waiting, 1, -1), 1);
    EXPECT_FALSE(child_.isRunning());
}

TEST_F(ChildTest, IsTerminatedThoughItIsStopped) {
    const auto process = leader([] { return ::raise(SIGSTOP); });
    siginfo_t info{};
    ASSERT_EQ(::waitid(P_PID, static_cast<id_t>(process), &info, WSTOPPED | WNOWAIT), 0);
    child_.begin(process);

    child_.terminate();
    child_.waitUntilExit();

    EXPECT_EQ(child_.terminationStatus(), SIGTERM);
}

TEST_F(ChildTest, IsTerminatedWithItsGroup) {
    ForkedPipe held;
    const auto process = leader([&] {
        forked([&] {
            held.tell();
            return ::pause();
        });
        return ::pause();
    });
    child_.begin(process);
    held.waitUntilTold();

    child_.terminate();
    held.waitForEnd();
    child_.waitUntilExit();

    EXPECT_EQ(child_.terminationStatus(), SIGTERM);
}

TEST_F(ChildTest, IsTerminatedInTheGroupOfAnother) {
    child_.begin(forked([] { return ::pause(); }));

    child_.terminate();
    child_.waitUntilExit();

    EXPECT_EQ(child_.terminationStatus(), SIGTERM);
}

TEST_F(ChildTest, EndsItsOutputWhenItEndsIfThatIsWanted) {
    child_.begin(gated());
    child_.endOutputWithChild();
    EXPECT_TRUE(child_.isRunning());
    EXPECT_EQ(output_->count, 0);

    openGate();
    child_.waitUntilExit();

    EXPECT_EQ(output_->count, 1);
}

TEST_F(ChildTest, HasNoStatusWhenSomebodyElseHasTakenIt) {
    const auto process = leader([] { return 3; });
    child_.begin(process);
    ASSERT_EQ(exitStatusOf(process), 3);

    EXPECT_FALSE(child_.isRunning());
    EXPECT_EQ(child_.terminationStatus(), -1);
}

} // namespace
