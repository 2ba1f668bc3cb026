#include "platform/linux/process/Pipe.h"

#include "platform/linux/process/ProcessLauncher.h"
#include "tests/platform/linux/process/SleepingThread.h"

#include <gtest/gtest.h>

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <functional>
#include <future>

namespace {

class PipeTest : public testing::Test {
protected:
    ssize_t put(const std::string& text) {
        return ::write(pipe_.writeEnd(), text.data(), text.size());
    }

    /// What one read appends to `text`; nothing when there will be nothing more.
    std::optional<std::string> readBehind(const std::string& text) {
        std::vector<std::byte> bytes(text.size());
        std::ranges::transform(text, bytes.begin(), [](char c) { return std::byte(c); });
        if (!pipe_.appendAvailable(bytes)) {
            return std::nullopt;
        }
        std::string all;
        std::ranges::transform(bytes, std::back_inserter(all),
                               [](std::byte byte) { return static_cast<char>(byte); });
        return all;
    }

    /// Whether a read that waits on another thread ends with this.
    bool endsReading(const std::function<void()>& what) {
        std::promise<long> thread;
        auto reading = std::async(std::launch::async, [&] {
            thread.set_value(::gettid());
            return readBehind("");
        });
        EXPECT_TRUE(isAsleep(thread.get_future().get()));
        what();
        return reading.get() == std::nullopt;
    }

    const std::shared_ptr<qf::Pipe> made_ = qf::native::ProcessLauncher().makePipe();
    qf::native::Pipe& pipe_ = dynamic_cast<qf::native::Pipe&>(*made_);
};

TEST_F(PipeTest, AppendsWhatIsWrittenUntilTheWriteEndIsClosed) {
    put("one");
    EXPECT_EQ(readBehind("zero "), "zero one");
    put("two");
    pipe_.closeWriteEnd();
    EXPECT_EQ(readBehind(""), "two");

    EXPECT_EQ(readBehind(""), std::nullopt);
}

TEST_F(PipeTest, HasNoEndThatAChildInherits) {
    for (const int end : {pipe_.readEnd(), pipe_.writeEnd()}) {
        EXPECT_EQ(::fcntl(end, F_GETFD), FD_CLOEXEC);
    }
}

TEST_F(PipeTest, KeepsTheReadEndAsAChildExpectsItUntilTheFirstRead) {
    EXPECT_EQ(::fcntl(pipe_.readEnd(), F_GETFL) & O_NONBLOCK, 0);
}

TEST_F(PipeTest, ReadsWhatIsThereOnceItWaitsNoMore) {
    put("early");

    pipe_.stopWaiting();

    EXPECT_EQ(readBehind(""), "early");
    EXPECT_EQ(readBehind(""), std::nullopt);
}

TEST_F(PipeTest, EndsAReadThatWaitsWhenItStopsWaiting) {
    EXPECT_TRUE(endsReading([this] { pipe_.stopWaiting(); }));
}

TEST_F(PipeTest, EndsAReadThatWaitsWhenTheReadEndIsClosed) {
    EXPECT_TRUE(endsReading([this] { pipe_.closeReadEnd(); }));
}

TEST_F(PipeTest, TakesNothingMoreWhenTheReadEndIsClosed) {
    auto* const former = std::signal(SIGPIPE, SIG_IGN);
    pipe_.closeReadEnd();
    pipe_.closeReadEnd();

    EXPECT_EQ(put("late"), -1);
    EXPECT_EQ(errno, EPIPE);
    EXPECT_EQ(readBehind(""), std::nullopt);
    std::signal(SIGPIPE, former);
}

TEST_F(PipeTest, GrowsOnceAChildHasFilledIt) {
    const auto size = ::fcntl(pipe_.writeEnd(), F_GETPIPE_SZ);
    put(std::string(static_cast<std::size_t>(size), 'x'));

    EXPECT_EQ(readBehind("")->size(), static_cast<std::size_t>(size));

    EXPECT_GT(::fcntl(pipe_.writeEnd(), F_GETPIPE_SZ), size);
}

} // namespace
