#include "platform/linux/tools/launchctl/UnitDirectory.h"

#include "platform/linux/tools/Tool.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <cerrno>
#include <filesystem>

namespace qf::native::launchctl {
namespace {

namespace fs = std::filesystem;

std::vector<UnitFile> unitsLabelled(const std::string& label) {
    const Value job = Value::Dictionary{
        {"Label", label}, {"Program", "/bin/true"}, {"RunAtLoad", true}, {"StartInterval", 60}};
    return unitsOfJob(job, "/a.plist", Domain::user);
}

class Units : public testing::Test {
protected:
    TemporaryDirectory home;
    std::string path = home / "systemd/user";
    UnitDirectory directory{path};

    void load(const std::string& label) const {
        directory.write(unitsLabelled(label));
        directory.writeLinks(unitsLabelled(label));
    }

    void takeDown(const std::string& label) const {
        const auto units = directory.unitsOf(label);
        directory.removeLinks(units);
        directory.remove(units);
    }
};

TEST_F(Units, AreWrittenWithTheirLinks) {
    load("a");
    EXPECT_EQ(contentOf(path + "/a.service"), unitsLabelled("a").front().text);
    EXPECT_EQ(fs::read_symlink(path + "/default.target.wants/a.service"), path + "/a.service");
    EXPECT_EQ(fs::read_symlink(path + "/timers.target.wants/a.timer"), path + "/a.timer");
}

TEST_F(Units, AreReadableByAllAndWritableByTheirOwner) {
    directory.write(unitsLabelled("a"));
    EXPECT_EQ(fs::status(path + "/a.service").permissions(), fs::perms(0644));
}

TEST_F(Units, LeaveNothingBehind) {
    load("a");
    takeDown("a");
    directory.removeIfEmpty();
    EXPECT_TRUE(fs::is_empty(home.path()));
}

TEST_F(Units, MayLieInDirectoriesThatAreLinks) {
    home.makeDirectory("elsewhere/wants");
    home.makeDirectory("systemd");
    fs::create_symlink(home / "elsewhere", path);
    fs::create_symlink("wants", path + "/default.target.wants");
    load("a");
    takeDown("a");
    directory.removeIfEmpty();
    EXPECT_TRUE(fs::is_symlink(path));
    EXPECT_TRUE(fs::is_symlink(path + "/default.target.wants"));
    EXPECT_TRUE(fs::is_empty(home / "elsewhere/wants"));
}

/// Keeps this process from opening anything, for a scope.
class NoDescriptors {
public:
    NoDescriptors() {
        ::getrlimit(RLIMIT_NOFILE, &former_);
        const rlimit none{0, former_.rlim_max};
        ::setrlimit(RLIMIT_NOFILE, &none);
    }
    ~NoDescriptors() { ::setrlimit(RLIMIT_NOFILE, &former_); }
    NoDescriptors(const NoDescriptors&) = delete;
    NoDescriptors& operator=(const NoDescriptors&) = delete;

private:
    rlimit former_{};
};

TEST_F(Units, DoNotPassForMissingWhereTheyCannotBeRead) {
    load("a");
    // The sanitizer opens descriptors when it sees a class for the first time.
    for (const auto* category : {&std::generic_category(), &std::system_category()}) {
        EXPECT_NE(std::error_code(EMFILE, *category).message(), "");
    }
    const NoDescriptors none;
    EXPECT_THROW(directory.loadedLabels(), tool::ToolError);
    EXPECT_THROW(directory.unitsOf("a"), tool::ToolError);
}

TEST_F(Units, ThatCannotBeLookedAtAreNotTakenForMissing) {
    load("a");
    fs::remove(path + "/default.target.wants/a.service");
    fs::remove(path + "/default.target.wants");
    fs::create_symlink("default.target.wants", path + "/default.target.wants");
    EXPECT_THROW(directory.isLoaded("a"), tool::ToolError);
}

TEST_F(Units, AreNoneWithoutADirectory) {
    EXPECT_TRUE(directory.loadedLabels().empty());
    EXPECT_TRUE(directory.unitsOf("a").empty());
}

TEST_F(Units, OfOtherJobsStay) {
    load("a");
    load("a.b");
    takeDown("a");
    directory.removeIfEmpty();
    EXPECT_FALSE(directory.has("a.service"));
    EXPECT_EQ(directory.unitsOf("a.b").size(), 2U);
    EXPECT_TRUE(fs::is_symlink(path + "/default.target.wants/a.b.service"));
}

TEST_F(Units, AreFoundWhenARunWasCutShort) {
    directory.write(unitsLabelled("a"));
    fs::remove(path + "/a.service");
    EXPECT_EQ(directory.unitsOf("a"), std::vector<std::string>{"a.timer"});
}

TEST_F(Units, OfForeignOriginAreNobodys) {
    fs::create_directories(path);
    home.write("systemd/user/a.service", "[Service]\nExecStart=/bin/true\n");
    EXPECT_TRUE(directory.unitsOf("a").empty());
    EXPECT_TRUE(directory.has("a.service"));
    EXPECT_TRUE(directory.loadedLabels().empty());
}

TEST_F(Units, OfAnotherLabelAreNotThisLabels) {
    fs::create_directories(path);
    home.write("systemd/user/a.service", unitsLabelled("b").front().text);
    EXPECT_TRUE(directory.unitsOf("a").empty());
}

TEST_F(Units, ThatAreLinksAreNobodys) {
    fs::create_directories(path);
    home.write("elsewhere", unitsLabelled("a").front().text);
    fs::create_symlink(home / "elsewhere", path + "/a.service");
    EXPECT_TRUE(directory.unitsOf("a").empty());
    EXPECT_TRUE(directory.has("a.service"));
}

TEST_F(Units, AreListedByTheirLabels) {
    load("b");
    load("a");
    EXPECT_EQ(directory.loadedLabels(), (std::vector<std::string>{"a", "b"}));
}

TEST_F(Units, AreLoadedOnlyWithAllTheirLinks) {
    load("a");
    EXPECT_TRUE(directory.isLoaded("a"));
    fs::remove(path + "/timers.target.wants/a.timer");
    EXPECT_FALSE(directory.isLoaded("a"));
    EXPECT_TRUE(directory.loadedLabels().empty());
}

TEST_F(Units, AreLoadedOnlyWithTheirService) {
    load("a");
    fs::remove(path + "/a.service");
    EXPECT_FALSE(directory.isLoaded("a"));
}

TEST_F(Units, ThatNothingStartsAreLoadedWithoutLinks) {
    const Value job = Value::Dictionary{{"Label", "a"}, {"Program", "/bin/true"}};
    directory.write(unitsOfJob(job, "/a.plist", Domain::user));
    EXPECT_TRUE(directory.isLoaded("a"));
}

TEST_F(Units, AreWrittenBeforeTheirService) {
    fs::create_directories(path + "/a.timer");
    EXPECT_THROW(directory.write(unitsLabelled("a")), tool::ToolError);
    EXPECT_FALSE(directory.has("a.service"));
}

TEST_F(Units, AreRemovedAfterTheirService) {
    home.write("systemd/user/a.service/file");
    home.write("systemd/user/a.timer");
    EXPECT_THROW(directory.remove({"a.timer", "a.service"}), tool::ToolError);
    EXPECT_TRUE(directory.has("a.timer"));
}

TEST_F(Units, AreListedBeforeTheirService) {
    load("a");
    EXPECT_EQ(directory.unitsOf("a"), (std::vector<std::string>{"a.timer", "a.service"}));
}

TEST_F(Units, ReplaceALinkThatWasLeftBehind) {
    fs::create_directories(path + "/default.target.wants");
    fs::create_symlink("/gone", path + "/default.target.wants/a.service");
    load("a");
    EXPECT_EQ(fs::read_symlink(path + "/default.target.wants/a.service"), path + "/a.service");
}

TEST_F(Units, CannotBeWrittenWhereAFileExists) {
    home.write("systemd", "");
    EXPECT_THROW(directory.write(unitsLabelled("a")), tool::ToolError);
}

TEST_F(Units, CannotBeLinkedWhereADirectoryIsInTheWay) {
    home.write("systemd/user/default.target.wants/a.service/file");
    EXPECT_THROW(directory.writeLinks(unitsLabelled("a")), tool::ToolError);
}

TEST_F(Units, AreNotFoundInAMissingDirectory) {
    EXPECT_TRUE(directory.unitsOf("a").empty());
    EXPECT_TRUE(directory.loadedLabels().empty());
    EXPECT_NO_THROW(directory.removeLinks({"a.service"}));
}

} // namespace
} // namespace qf::native::launchctl
