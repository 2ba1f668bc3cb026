#include "platform/qt/InstanceLock.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;
using platform::qt::InstanceLock;

namespace {

/// Where there is no runtime folder, other processes that run these tests use the same folder.
const std::string name = "qf-instance-lock-test-" + std::to_string(::getpid());

class InstanceLockTest : public ::testing::Test {
protected:
    TemporaryFolder folder;
    ScopedEnvironment runtime{"XDG_RUNTIME_DIR", folder.path()};
};

TEST_F(InstanceLockTest, IsTakenByTheFirst) {
    EXPECT_FALSE(InstanceLock(name).isHeldByAnother());
}

TEST_F(InstanceLockTest, IsRefusedToTheSecond) {
    const InstanceLock first(name);
    EXPECT_TRUE(InstanceLock(name).isHeldByAnother());
}

TEST_F(InstanceLockTest, IsFreeAgainWhenTheFirstHasEnded) {
    { const InstanceLock first(name); }
    EXPECT_FALSE(InstanceLock(name).isHeldByAnother());
}

TEST_F(InstanceLockTest, IsTakenThoughAFileWasLeftBehind) {
    folder.write(name + ".lock", "4711");
    EXPECT_FALSE(InstanceLock(name).isHeldByAnother());
}

TEST_F(InstanceLockTest, LeavesAnotherApplicationAlone) {
    const InstanceLock first(name);
    EXPECT_FALSE(InstanceLock("qf-another-application").isHeldByAnother());
}

TEST_F(InstanceLockTest, IsNotHeldByChildren) {
    auto first = std::make_unique<InstanceLock>(name);
    const auto fifo = folder / "fifo";
    ASSERT_EQ(::mkfifo(fifo.c_str(), S_IRUSR | S_IWUSR), 0);
    FILE* child = ::popen(("echo running; exec cat '" + fifo + "'").c_str(), "r");
    ASSERT_NE(child, nullptr);
    EXPECT_EQ(std::fgetc(child), 'r');
    first.reset();
    EXPECT_FALSE(InstanceLock(name).isHeldByAnother());
    std::ofstream(fifo).close(); // ends the child
    ::pclose(child);
}

TEST_F(InstanceLockTest, IsReadableByTheUserOnly) {
    const InstanceLock lock(name);
    const auto status = fs::status(folder / (name + ".lock"));
    EXPECT_EQ(status.permissions(), fs::perms::owner_read | fs::perms::owner_write);
}

TEST_F(InstanceLockTest, DoesNotFollowALink) {
    fs::create_symlink(folder / "victim", folder / (name + ".lock"));
    const InstanceLock first(name);
    EXPECT_FALSE(fs::exists(folder / "victim"));
    EXPECT_FALSE(InstanceLock(name).isHeldByAnother());
}

/// Where the lock lies when the runtime folder is of no use.
std::string fallback() {
    return "/tmp/" + name + '-' + std::to_string(::geteuid()) + ".lock";
}

void expectFallback(const std::string& runtimeFolder) {
    const ScopedEnvironment runtime("XDG_RUNTIME_DIR", runtimeFolder);
    {
        const InstanceLock first(name);
        EXPECT_TRUE(fs::exists(fallback())) << runtimeFolder;
        EXPECT_TRUE(InstanceLock(name).isHeldByAnother()) << runtimeFolder;
    }
    fs::remove(fallback());
}

TEST_F(InstanceLockTest, LiesInTheTemporaryFolderWhenThereIsNoRuntimeFolder) {
    expectFallback("");
    expectFallback("relative");
    expectFallback(folder / "missing");
    expectFallback(folder.write("file"));
}

TEST_F(InstanceLockTest, LiesInTheTemporaryFolderWhenTheRuntimeFolderIsAnothers) {
    if (::geteuid() != 0) {
        expectFallback("/");
        return;
    }
    const auto others = folder.makeFolder("others");
    ASSERT_EQ(::chown(others.c_str(), 65534, 65534), 0);
    expectFallback(others);
}

} // namespace
