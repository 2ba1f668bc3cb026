#include "platform/linux/tools/launchctl/UnitFolder.h"

#include "platform/linux/tools/Tool.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace platform::native::launchctl {
namespace {

namespace fs = std::filesystem;

std::vector<UnitFile> unitsLabelled(const std::string& label) {
    const Value job = Value::Dictionary{
        {"Label", label}, {"Program", "/bin/true"}, {"RunAtLoad", true}, {"StartInterval", 60}};
    return unitsOfJob(job, "/a.plist", Domain::user);
}

class Units : public testing::Test {
protected:
    TemporaryFolder home;
    std::string path = home / "systemd/user";
    UnitFolder folder{path};

    void takeDown(const std::string& label) const {
        const auto units = folder.unitsOf(label);
        folder.removeLinks(units);
        folder.remove(units);
    }
};

TEST_F(Units, AreWrittenWithTheirLinks) {
    folder.write(unitsLabelled("a"));
    EXPECT_EQ(contentOf(path + "/a.service"), unitsLabelled("a").front().text);
    EXPECT_EQ(fs::read_symlink(path + "/default.target.wants/a.service"), path + "/a.service");
    EXPECT_EQ(fs::read_symlink(path + "/timers.target.wants/a.timer"), path + "/a.timer");
}

TEST_F(Units, AreReadableByAllAndWritableByTheirOwner) {
    folder.write(unitsLabelled("a"));
    EXPECT_EQ(fs::status(path + "/a.service").permissions(), fs::perms(0644));
}

TEST_F(Units, LeaveNothingBehind) {
    folder.write(unitsLabelled("a"));
    takeDown("a");
    folder.removeIfEmpty();
    EXPECT_TRUE(fs::is_empty(home.path()));
}

TEST_F(Units, MayLieInFoldersThatAreLinks) {
    home.makeFolder("elsewhere/wants");
    home.makeFolder("systemd");
    fs::create_symlink(home / "elsewhere", path);
    fs::create_symlink("wants", path + "/default.target.wants");
    folder.write(unitsLabelled("a"));
    takeDown("a");
    folder.removeIfEmpty();
    EXPECT_TRUE(fs::is_symlink(path));
    EXPECT_TRUE(fs::is_symlink(path + "/default.target.wants"));
    EXPECT_TRUE(fs::is_empty(home / "elsewhere/wants"));
}

TEST_F(Units, OfOtherJobsStay) {
    folder.write(unitsLabelled("a"));
    folder.write(unitsLabelled("a.b"));
    takeDown("a");
    folder.removeIfEmpty();
    EXPECT_FALSE(folder.has("a.service"));
    EXPECT_EQ(folder.unitsOf("a.b").size(), 2U);
    EXPECT_TRUE(fs::is_symlink(path + "/default.target.wants/a.b.service"));
}

TEST_F(Units, AreFoundWhenARunWasCutShort) {
    folder.write(unitsLabelled("a"));
    fs::remove(path + "/a.service");
    EXPECT_EQ(folder.unitsOf("a"), std::vector<std::string>{"a.timer"});
}

TEST_F(Units, OfForeignOriginAreNobodys) {
    fs::create_directories(path);
    home.write("systemd/user/a.service", "[Service]\nExecStart=/bin/true\n");
    EXPECT_TRUE(folder.unitsOf("a").empty());
    EXPECT_TRUE(folder.has("a.service"));
    EXPECT_TRUE(folder.owners().empty());
}

TEST_F(Units, OfAnotherLabelAreNotThisLabels) {
    fs::create_directories(path);
    home.write("systemd/user/a.service", unitsLabelled("b").front().text);
    EXPECT_TRUE(folder.unitsOf("a").empty());
}

TEST_F(Units, ThatAreLinksAreNobodys) {
    fs::create_directories(path);
    home.write("elsewhere", unitsLabelled("a").front().text);
    fs::create_symlink(home / "elsewhere", path + "/a.service");
    EXPECT_TRUE(folder.unitsOf("a").empty());
    EXPECT_TRUE(folder.has("a.service"));
}

TEST_F(Units, AreListedByTheirServices) {
    folder.write(unitsLabelled("b"));
    folder.write(unitsLabelled("a"));
    const auto owners = folder.owners();
    ASSERT_EQ(owners.size(), 2U);
    EXPECT_EQ(owners.front().label, "a");
    EXPECT_EQ(owners.back().label, "b");
    EXPECT_EQ(owners.back().jobFile, "/a.plist");
}

TEST_F(Units, ReplaceALinkThatWasLeftBehind) {
    fs::create_directories(path + "/default.target.wants");
    fs::create_symlink("/gone", path + "/default.target.wants/a.service");
    folder.write(unitsLabelled("a"));
    EXPECT_EQ(fs::read_symlink(path + "/default.target.wants/a.service"), path + "/a.service");
}

TEST_F(Units, CannotBeWrittenWhereAFileStands) {
    home.write("systemd", "");
    EXPECT_THROW(folder.write(unitsLabelled("a")), platform::native::tool::ToolError);
}

TEST_F(Units, AreNoneInAFolderThatIsNotThere) {
    EXPECT_TRUE(folder.unitsOf("a").empty());
    EXPECT_TRUE(folder.owners().empty());
    EXPECT_NO_THROW(folder.removeLinks({"a.service"}));
}

} // namespace
} // namespace platform::native::launchctl
