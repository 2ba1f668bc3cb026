#include "platform/support/Process.h"

#include "platform/Services.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace {

using qf::Process;

class FakeChild : public qf::ChildProcess {
public:
    bool running = true;
    bool terminated = false;
    bool outputEnds = false;

    long processIdentifier() const override { return 77; }
    bool isRunning() override { return running; }
    void waitUntilExit() override { running = false; }
    void terminate() override { terminated = true; }
    void kill() override { terminated = true; }
    void endOutputWithChild() override { outputEnds = true; }
    int terminationStatus() override { return 5; }
};

class FakePipe : public qf::Pipe {
public:
    std::size_t left = 0;

    bool appendAvailable(std::vector<std::byte>& bytes) override {
        bytes.insert(bytes.end(), left, std::byte{'x'});
        return std::exchange(left, 0) != 0;
    }
    void stopWaiting() override {}
    void closeReadEnd() override { left = 0; }
};

class FakeLauncher : public qf::ProcessLauncher {
public:
    std::shared_ptr<FakeChild> child = std::make_shared<FakeChild>();
    std::string launched;

    bool canLaunch(const std::string& /*path*/) override { return true; }
    std::shared_ptr<qf::Pipe> makePipe() override { return std::make_shared<FakePipe>(); }
    std::vector<std::shared_ptr<qf::Pipe>> makePipes(std::size_t count) override {
        return std::vector<std::shared_ptr<qf::Pipe>>(count, makePipe());
    }
    std::shared_ptr<qf::ChildProcess> launch(const qf::ProcessDescription& description) override {
        launched = description.launchPath;
        return child;
    }
};

class ProcessTest : public testing::Test {
protected:
    static qf::ProcessDescription tool() {
        qf::ProcessDescription description;
        description.launchPath = "/bin/tool";
        return description;
    }

    /// Returns the reason of the exception that an operation throws, after checking its name.
    template <class Operation>
    static std::string reasonOf(Operation operation) {
        try {
            operation();
        } catch (const qf::Exception& exception) {
            EXPECT_EQ(exception.name(), "NSInvalidArgumentException");
            return exception.reason();
        }
        return "nothing raised";
    }

    FakeLauncher launcher_;
    const qf::ScopedService<qf::ProcessLauncher> installed_{launcher_};
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

TEST_F(ProcessTest, HandsOnThatTheOutputEndsWithTheChild) {
    process_.endOutputWithChild();
    process_.launch();
    EXPECT_FALSE(launcher_.child->outputEnds);
    process_.endOutputWithChild();
    EXPECT_TRUE(launcher_.child->outputEnds);
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

TEST_F(ProcessTest, AvailableDataIsWhatOneReadReturns) {
    FakePipe pipe;
    pipe.left = 3;
    EXPECT_EQ(qf::availableData(pipe).bytes.size(), 3U);
    EXPECT_TRUE(qf::availableData(pipe).bytes.empty());
}

TEST(ProcessWithoutALauncher, RaisesAtTheLaunch) {
    Process process(qf::ProcessDescription{});
    try {
        process.launch();
        FAIL() << "it was launched";
    } catch (const qf::Exception& exception) {
        EXPECT_EQ(exception.name(), "QFServiceUnavailable");
    }
}

} // namespace
