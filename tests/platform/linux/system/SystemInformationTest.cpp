#include "platform/linux/system/SystemInformation.h"

#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <regex>
#include <set>
#include <string>
#include <thread>

namespace fs = std::filesystem;
using qf::native::SystemInformation;

namespace {

/// Returns the number in a line of /proc/meminfo, in kB.
std::uint64_t kilobytesOf(const std::string& key) {
    std::ifstream file("/proc/meminfo");
    for (std::string word; file >> word;) {
        if (word == key) {
            std::uint64_t number = 0;
            file >> number;
            return number;
        }
    }
    return 0;
}

} // namespace

TEST(SystemInformation, NamesTheOperatingSystemAsItNamesItself) {
    std::ifstream file("/etc/os-release");
    if (!file) {
        GTEST_SKIP() << "this machine has no /etc/os-release";
    }
    const std::string release{std::istreambuf_iterator<char>(file), {}};
    const auto version = SystemInformation().operatingSystemVersion();
    EXPECT_FALSE(version.empty());
    EXPECT_NE(release.find(version), std::string::npos);
}

TEST(SystemInformation, NamesTheMachineAsTheKernelDoes) {
    std::ifstream file("/proc/sys/kernel/hostname");
    std::string name;
    ASSERT_TRUE(std::getline(file, name));
    EXPECT_EQ(SystemInformation().hostName(), name);
}

TEST(SystemInformation, CountsTheProcessorsThatAreOnline) {
    EXPECT_GE(SystemInformation().processorCount(), 1);
    EXPECT_GE(SystemInformation().processorCount(),
              static_cast<long>(std::thread::hardware_concurrency()));
}

TEST(SystemInformation, TellsTheMemoryThatTheKernelTells) {
    EXPECT_EQ(SystemInformation().physicalMemory(), kilobytesOf("MemTotal:") * 1024);
}

TEST(SystemInformation, KnowsTheRunningProgram) {
    const auto path = SystemInformation().executablePath();
    ASSERT_TRUE(path);
    EXPECT_TRUE(fs::path(*path).is_absolute());
    EXPECT_TRUE(fs::equivalent(*path, "/proc/self/exe"));
}

TEST(SystemInformation, KnowsTheRunningProgramByItsFormerPathAfterItWasDeleted) {
    const auto own = fs::read_symlink("/proc/self/exe");
    if (const auto* role = std::getenv("QF_DELETED_PROGRAM"); role != nullptr) {
        fs::remove(own);
        EXPECT_EQ(SystemInformation().executablePath(), role);
        return;
    }
    const TemporaryDirectory directory;
    const auto copy = directory / "program";
    fs::copy_file(own, copy);
    const auto command = "QF_DELETED_PROGRAM='" + copy + "' '" + copy +
                         "' --gtest_filter='*KnowsTheRunningProgramByItsFormerPath*' > /dev/null";
    EXPECT_EQ(std::system(command.c_str()), 0);
    EXPECT_FALSE(fs::exists(copy));
}

TEST(SystemInformation, CarriesTheVersionThatTheProgramGave) {
    EXPECT_EQ(SystemInformation("1.2").bundleVersion(), "1.2");
    EXPECT_EQ(SystemInformation().bundleVersion(), std::nullopt);
}

TEST(SystemInformation, ReturnsRandomIdentifiersThatDiffer) {
    const std::regex form("[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}");
    std::set<std::string> seen;
    for (int i = 0; i < 1000; ++i) {
        const auto identifier = SystemInformation().globallyUniqueString();
        EXPECT_TRUE(std::regex_match(identifier, form)) << identifier;
        EXPECT_TRUE(seen.insert(identifier).second);
    }
}
