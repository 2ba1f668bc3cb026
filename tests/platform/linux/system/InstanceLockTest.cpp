#include "platform/InstanceLock.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;
using qf::InstanceLock;

namespace {

/// Without a runtime directory, other processes that run these tests use the same directory.
const std::string name = "qf-instance-lock-test-" + std::to_string(::getpid());

class InstanceLockTest : public ::testing::Test {
protected:
    TemporaryDirectory directory;
    ScopedEnvironment runtime{"XDG_RUNTIME_DIR", directory.path()};
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
    directory.write(name + ".lock", "4711");
    EXPECT_FALSE(InstanceLock(name).isHeldByAnother());
}

TEST_F(InstanceLockTest, LeavesAnotherApplicationAlone) {
    const InstanceLock first(name);
    EXPECT_FALSE(InstanceLock("qf-another-application").isHeldByAnother());
}

TEST_F(InstanceLockTest, IsNotHeldByChildren) {
    auto first = std::make_unique<InstanceLock>(name);
    const auto fifo = directory / "fifo";
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
    const auto status = fs::status(directory / (name + ".lock"));
    EXPECT_EQ(status.permissions(), fs::perms::owner_read | fs::perms::owner_write);
}

TEST_F(InstanceLockTest, DoesNotFollowALink) {
    fs::create_symlink(directory / "victim", directory / (name + ".lock"));
    const InstanceLock first(name);
    EXPECT_FALSE(fs::exists(directory / "victim"));
    EXPECT_FALSE(InstanceLock(name).isHeldByAnother());
}

/// Returns the path of the lock if XDG_RUNTIME_DIR cannot be used.
std::string fallback() {
    const auto user = std::to_string(::geteuid());
    return fs::is_directory("/run/user/" + user) ? "/run/user/" + user + '/' + name + ".lock"
                                                 : "/tmp/" + name + '-' + user + ".lock";
}

void expectFallback(const std::string& runtimeDirectory) {
    const ScopedEnvironment runtime("XDG_RUNTIME_DIR", runtimeDirectory);
    {
        const InstanceLock first(name);
        EXPECT_TRUE(fs::exists(fallback())) << runtimeDirectory;
        EXPECT_TRUE(InstanceLock(name).isHeldByAnother()) << runtimeDirectory;
    }
    fs::remove(fallback());
}

TEST_F(InstanceLockTest, LiesElsewhereWhenNoRuntimeDirectoryIsNamed) {
    expectFallback("");
    expectFallback("relative");
    expectFallback(directory / "missing");
    expectFallback(directory.write("file"));
}

TEST_F(InstanceLockTest, LiesElsewhereWhenTheRuntimeDirectoryIsAnothers) {
    if (::geteuid() != 0) {
        expectFallback("/");
        return;
    }
    const auto others = directory.makeDirectory("others");
    ASSERT_EQ(::chown(others.c_str(), 65534, 65534), 0);
    expectFallback(others);
}

} // namespace
