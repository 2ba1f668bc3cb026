#include "platform/linux/posix/FileDescriptor.h"
#include "tests/platform/linux/RunChild.h"
#include "tests/support/NamedCase.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <filesystem>

namespace fs = std::filesystem;

namespace {

constexpr const char* usage = "usage: launchctl load FILE | unload FILE | remove LABEL | list\n";

constexpr const char* ownUnit = "[X-Launchd]\nLabel=\"a\"\nJobFile=\"/a.plist\"\n";

std::string job(const std::string& label) {
    return "<plist version=\"1.0\"><dict><key>Label</key><string>" + label +
           "</string><key>Program</key><string>/bin/true</string></dict></plist>";
}

/// The program, run by an ordinary user who has no service manager.
class Launchctl : public testing::Test {
protected:
    void SetUp() override { fs::permissions(directory.path(), fs::perms(0777)); }

    Outcome launchctl(const std::vector<std::string>& words) const {
        return runChild(words,
                        {"HOME=" + directory.path(), "XDG_RUNTIME_DIR=" + (directory / "run"),
                         "LSAN_OPTIONS=detect_leaks=0"},
                        asOrdinaryUser());
    }

    std::string writeJob(const std::string& name, const std::string& label) const {
        auto path = directory.write(name, job(label));
        fs::permissions(path, fs::perms(0644));
        return path;
    }

    TemporaryDirectory directory;
};

class LaunchctlMisuse : public Launchctl,
                        public testing::WithParamInterface<std::vector<std::string>> {};

TEST_P(LaunchctlMisuse, TellsTheUsage) {
    const auto outcome = launchctl(GetParam());
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.output, usage);
}

INSTANTIATE_TEST_SUITE_P(
    All, LaunchctlMisuse,
    testing::ValuesIn(std::vector<std::vector<std::string>>{
        {}, {""}, {"load"}, {"load", "-w", "/a"}, {"bootstrap", "a"}, {"list", "a"}, {"--help"}}));

TEST_F(Launchctl, SaysInOneLineThatThereIsNoServiceManager) {
    const auto outcome = launchctl({"load", writeJob("a.plist", "a")});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.output.find("launchctl: there is no service manager: "), 0U)
        << outcome.output;
    EXPECT_EQ(outcome.output.find('\n'), outcome.output.size() - 1);
    EXPECT_FALSE(fs::exists(directory / ".config"));
}

TEST_F(Launchctl, ListsNoJobsWithoutAskingAServiceManager) {
    const auto outcome = launchctl({"list"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.output, "PID\tStatus\tLabel\n");
}

TEST_F(Launchctl, ListsNoStateOfAJobWithoutAServiceManager) {
    directory.write(".config/systemd/user/a.service", std::string("[Unit]\n\n") + ownUnit);
    const auto outcome = launchctl({"list"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.output.find("launchctl: there is no service manager: "), 0U)
        << outcome.output;
}

TEST_F(Launchctl, TakesUnitsAwayEvenWithoutAServiceManager) {
    directory.write(".config/systemd/user/a.service", std::string("[Unit]\n\n") + ownUnit);
    for (const auto* path : {".config", ".config/systemd", ".config/systemd/user"}) {
        fs::permissions(directory / path, fs::perms(0777));
    }
    const auto outcome = launchctl({"remove", "a"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.output.find("launchctl: there is no service manager: "), 0U);
    EXPECT_TRUE(fs::is_empty(directory / ".config"));
}

TEST_F(Launchctl, LeavesAForeignUnitAlone) {
    const auto unit = directory.write(".config/systemd/user/a.service", "[Unit]\n");
    const auto outcome = launchctl({"remove", "a"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.output, "launchctl: a: Could not find specified service\n");
    EXPECT_EQ(contentOf(unit), "[Unit]\n");
}

TEST_F(Launchctl, DoesNotUnloadAFileThatIsGone) {
    const auto outcome = launchctl({"unload", "/gone.plist"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.output, "launchctl: /gone.plist: No such file or directory\n");
}

TEST_F(Launchctl, DoesNotUnloadAJobThatIsNotLoaded) {
    const auto file = writeJob("a.plist", "a");
    const auto outcome = launchctl({"unload", file});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.output, "launchctl: " + file + ": Could not find specified service\n");
}

class LaunchctlOfADaemon : public Launchctl, public testing::WithParamInterface<NamedText> {};

TEST_P(LaunchctlOfADaemon, IsLeftToRoot) {
    fs::create_directory(directory / "LaunchDaemons");
    fs::permissions(directory / "LaunchDaemons", fs::perms(0755));
    const auto file = writeJob("LaunchDaemons/a.plist", "a");
    const auto outcome = launchctl({GetParam().value, file});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.output,
              "launchctl: " + file + ": Daemons are the system's, which only root may change\n");
}

INSTANTIATE_TEST_SUITE_P(All, LaunchctlOfADaemon,
                         testing::Values(NamedText{{"Load"}, "load"},
                                         NamedText{{"Unload"}, "unload"}),
                         nameOfCase);

TEST(LaunchctlOfRoot, TakesUnitsOfTheSystemAway) {
    if (const auto reason = whyNoMounts(); !reason.empty()) {
        GTEST_SKIP() << reason;
    }
    const TemporaryDirectory directory;
    const auto unit = directory.write("a.service", std::string("[Unit]\n\n") + ownUnit);
    const auto outcome = run({"unshare", "--mount", "sh", "-ec", R"sh(
                                  mount -t tmpfs none /run
                                  mount -t tmpfs none /etc
                                  mkdir -p /etc/systemd/system
                                  cp "$1" /etc/systemd/system
                                  "$2" remove a || ls -A /etc/systemd/system)sh",
                              "sh", unit, QF_CHILD},
                             {"HOME=" + directory.path(), "LSAN_OPTIONS=detect_leaks=0"});
    EXPECT_EQ(outcome.output.find("launchctl: there is no service manager: "), 0U)
        << outcome.output;
    EXPECT_EQ(outcome.output.find("a.service"), std::string::npos) << outcome.output;
}

TEST_F(Launchctl, RefusesLabelsThatNameNoUnit) {
    EXPECT_EQ(launchctl({"remove", ""}).output, "launchctl: \"Label\" must not be empty\n");
    EXPECT_EQ(launchctl({"remove", std::string(300, 'a')}).output,
              "launchctl: \"Label\" is too long for the name of a unit\n");
}

class LaunchctlOddLabel : public Launchctl, public testing::WithParamInterface<std::string> {};

TEST_P(LaunchctlOddLabel, NamesNoJob) {
    const auto outcome = launchctl({"remove", GetParam()});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.output, "launchctl: " + GetParam() + ": Could not find specified service\n");
}

INSTANTIATE_TEST_SUITE_P(All, LaunchctlOddLabel, testing::Values("..", "../a", "a/b", "%h", "a b"));

TEST_F(Launchctl, WritesNoControlCharactersToTheTerminal) {
    EXPECT_EQ(launchctl({"unload", "/a\n\x1B"}).output,
              "launchctl: /a\\x0A\\x1B: No such file or directory\n");
}

} // namespace

namespace {

/// The program, run by the superuser on a machine whose system log is the test's.
class LaunchctlWithSystemLog : public testing::Test {
protected:
    void SetUp() override {
        const auto outcome = run({"unshare", "--mount", "true"});
        if (outcome.status != 0) {
            GTEST_SKIP() << "a system log needs the right to mount: " << outcome.output;
        }
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        const auto path = directory / "log";
        path.copy(&address.sun_path[0], sizeof address.sun_path - 1);
        ASSERT_EQ(::bind(log_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address),
                  0);
    }

    /// Runs a command of the program with standard error at that place.
    void launchctl(const std::string& words, const std::string& error) const {
        const std::string machine = "mount -t tmpfs none /run && mount -t tmpfs none /dev && "
                                    "mknod -m 666 /dev/null c 1 3 && ln -s '" +
                                    directory / "log' /dev/log && ";
        const auto outcome = run({"unshare", "--mount", "sh", "-c",
                                  machine + "'" QF_CHILD "' " + words + " 2> '" + error + "'"},
                                 {"LSAN_OPTIONS=detect_leaks=0"});
        EXPECT_EQ(outcome.status, 1) << outcome.output;
    }

    /// Returns the oldest line of the log; empty if there is none.
    std::string line() const {
        std::array<char, 500> bytes{};
        const auto length = ::recv(log_.get(), bytes.data(), bytes.size(), MSG_DONTWAIT);
        return {bytes.data(), static_cast<std::size_t>(std::max<ssize_t>(length, 0))};
    }

    TemporaryDirectory directory;

private:
    qf::native::FileDescriptor log_{::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)};
};

} // namespace

TEST_F(LaunchctlWithSystemLog, TellsItWhyAJobIsNotLoadedIfNobodyReadsTheErrors) {
    launchctl("load /gone.plist", "/dev/null");
    const auto told = line();
    EXPECT_TRUE(told.ends_with("launchctl: /gone.plist: No such file or directory")) << told;
    EXPECT_EQ(line(), "");
}

TEST_F(LaunchctlWithSystemLog, TellsItNothingThatIsReadElsewhere) {
    launchctl("load /gone.plist", directory / "errors");
    EXPECT_EQ(contentOf(directory / "errors"),
              "launchctl: /gone.plist: No such file or directory\n");
    EXPECT_EQ(line(), "");
}

TEST_F(LaunchctlWithSystemLog, IsNotToldOfAJobThatWasNotLoadedAnyway) {
    launchctl("unload /gone.plist", "/dev/null");
    EXPECT_EQ(line(), "");
}
