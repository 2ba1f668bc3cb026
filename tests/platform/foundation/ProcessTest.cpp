#include "platform/foundation/Process.h"

#include "platform/Services.h"
#include "tests/support/ScopedLimit.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <fstream>
#include <string>

namespace {

using platform::Process;

class FakeChild : public platform::ChildProcess {
public:
    bool running = true;
    bool terminated = false;

    long processIdentifier() const override { return 77; }
    bool isRunning() override { return running; }
    void waitUntilExit() override { running = false; }
    void terminate() override { terminated = true; }
    int terminationStatus() override { return 5; }
};

class FakePipe : public platform::Pipe {
public:
    std::size_t left = 0;

    std::size_t readAvailable(std::span<std::byte> buffer) override {
        const auto count = std::min(left, buffer.size());
        std::fill_n(buffer.begin(), count, std::byte{'x'});
        left -= count;
        return count;
    }
    void closeReadEnd() override { left = 0; }
};

class FakeLauncher : public platform::ProcessLauncher {
public:
    std::shared_ptr<FakeChild> child = std::make_shared<FakeChild>();
    std::string launched;

    std::shared_ptr<platform::Pipe> makePipe() override { return std::make_shared<FakePipe>(); }
    std::shared_ptr<platform::ChildProcess>
    launch(const platform::ProcessDescription& description) override {
        launched = description.launchPath;
        return child;
    }
};

/// How many bytes of its address space the process uses.
std::size_t addressSpaceInUse() {
    std::size_t pages = 0;
    std::ifstream("/proc/self/statm") >> pages;
    return pages * static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
}

class ProcessTest : public testing::Test {
protected:
    static platform::ProcessDescription tool() {
        platform::ProcessDescription description;
        description.launchPath = "/bin/tool";
        return description;
    }

    /// The reason that an operation raises, its name checked.
    template <class Operation>
    static std::string reasonOf(Operation operation) {
        try {
            operation();
        } catch (const platform::Exception& exception) {
            EXPECT_EQ(exception.name(), "NSInvalidArgumentException");
            return exception.reason();
        }
        return "nothing raised";
    }

    FakeLauncher launcher_;
    const platform::ScopedService<platform::ProcessLauncher> installed_{launcher_};
    Process process_{tool()};
};

TEST_F(ProcessTest, IsLaunchedThroughTheInstalledLauncher) {
    process_.launch();
    EXPECT_EQ(launcher_.launched, "/bin/tool");
    EXPECT_EQ(process_.processIdentifier(), 77);
}

TEST_F(ProcessTest, RunsBetweenLaunchAndExit) {
    EXPECT_FALSE(process_.isRunning());
    process_.launch();
    EXPECT_TRUE(process_.isRunning());
    process_.waitUntilExit();
    EXPECT_FALSE(process_.isRunning());
    EXPECT_EQ(process_.terminationStatus(), 5);
}

TEST_F(ProcessTest, HandsTheRequestToEndOn) {
    process_.launch();
    process_.terminate();
    EXPECT_TRUE(launcher_.child->terminated);
}

TEST_F(ProcessTest, RaisesWhenAskedBeforeTheLaunch) {
    const std::string reason = "the task /bin/tool is not launched";
    EXPECT_EQ(reasonOf([this] { process_.waitUntilExit(); }), reason);
    EXPECT_EQ(reasonOf([this] { process_.terminate(); }), reason);
    EXPECT_EQ(reasonOf([this] { process_.terminationStatus(); }), reason);
    EXPECT_EQ(reasonOf([this] { process_.processIdentifier(); }), reason);
}

TEST_F(ProcessTest, RaisesWhenLaunchedTwice) {
    process_.launch();
    EXPECT_EQ(reasonOf([this] { process_.launch(); }), "the task /bin/tool is already launched");
}

TEST_F(ProcessTest, RaisesWhenAskedForTheStatusOfARunningChild) {
    process_.launch();
    EXPECT_EQ(reasonOf([this] { process_.terminationStatus(); }),
              "the task /bin/tool is still running");
}

TEST_F(ProcessTest, AvailableDataIsWhatOneReadGives) {
    FakePipe pipe;
    pipe.left = 3;
    EXPECT_EQ(platform::availableData(pipe).bytes.size(), 3U);
    EXPECT_TRUE(platform::availableData(pipe).bytes.empty());
}

TEST_F(ProcessTest, AppendsAvailableDataUntilTheEnd) {
    FakePipe pipe;
    pipe.left = 1'000'000;
    platform::Data data;
    while (platform::appendAvailableData(pipe, data)) {
    }
    EXPECT_EQ(data.bytes, std::vector<std::byte>(1'000'000, std::byte{'x'}));
    EXPECT_FALSE(platform::appendAvailableData(pipe, data));
}

TEST_F(ProcessTest, CollectsMuchOutputInLittleMoreMemory) {
    constexpr std::size_t mebibyte = std::size_t{1} << 20U;
    if (addressSpaceInUse() > 512 * mebibyte) {
        GTEST_SKIP() << "a sanitizer has taken the address space that this test would limit";
    }
    const ScopedLimit<RLIMIT_AS> limit(1024 * mebibyte);
    FakePipe pipe;
    pipe.left = 65 * mebibyte;
    platform::Data data;
    while (platform::appendAvailableData(pipe, data)) {
    }
    EXPECT_EQ(data.bytes.size(), 65 * mebibyte);
}

TEST(ProcessWithoutALauncher, RaisesAtTheLaunch) {
    Process process(platform::ProcessDescription{});
    try {
        process.launch();
        FAIL() << "it was launched";
    } catch (const platform::Exception& exception) {
        EXPECT_EQ(exception.name(), "QFServiceUnavailable");
    }
}

} // namespace
