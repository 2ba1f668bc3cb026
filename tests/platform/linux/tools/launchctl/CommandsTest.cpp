#include "tests/platform/linux/RunChild.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

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
    const auto file = writeJob("a.plist", "a");
    const std::vector<std::vector<std::string>> commands = {{"load", file}, {"list"}};
    for (const auto& words : commands) {
        const auto outcome = launchctl(words);
        EXPECT_EQ(outcome.status, 1);
        EXPECT_EQ(outcome.output.find("launchctl: there is no service manager: "), 0U)
            << outcome.output;
        EXPECT_EQ(outcome.output.find('\n'), outcome.output.size() - 1);
    }
    EXPECT_FALSE(fs::exists(directory / ".config"));
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

TEST_F(Launchctl, LeavesDaemonsToRoot) {
    fs::create_directory(directory / "LaunchDaemons");
    fs::permissions(directory / "LaunchDaemons", fs::perms(0755));
    const auto file = writeJob("LaunchDaemons/a.plist", "a");
    for (const auto* command : {"load", "unload"}) {
        const auto outcome = launchctl({command, file});
        EXPECT_EQ(outcome.status, 1);
        EXPECT_EQ(outcome.output, "launchctl: " + file +
                                      ": Daemons are the system's, which only root may change\n");
    }
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
