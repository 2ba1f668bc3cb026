// What a helper does that is for one program's plan, and that it does nothing else.
// PlannedTerms.cpp has the plan.

#include "platform/linux/authorization/helper/PlanCheck.h"

#include "tests/platform/linux/authorization/helper/Attacker.h"
#include "tests/platform/linux/authorization/helper/HelperHarness.h"
#include "tests/platform/linux/authorization/helper/InformationLists.h"
#include "tests/support/TemporaryDirectory.h"

#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

using platform::native::helper::Status;

namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;

} // namespace

class HelperPlan : public HelperTest {
protected:
    void SetUp() override {
        HelperTest::SetUp();
        if (!IsSkipped()) {
            makeDirectory(sandbox::everybodysDirectory + "/homes");
            makeDirectory(home(), servedUser);
            makeDirectory(home() + "/Library", servedUser);
            makeDirectory(home() + "/Library/LaunchAgents", servedUser);
            makeDirectory(trash(), servedUser);
            makeDirectory(machine());
        }
    }

    static const std::string& home() { return sandbox::servedHome; }
    static std::string trash() { return home() + "/.Trash"; }
    static std::string machine() { return sandbox::rootsDirectory + "/machine"; }
    static std::string job() { return home() + "/Library/LaunchAgents/com.example.job.plist"; }

    static Status run(const std::string& tool, const std::vector<std::string>& arguments) {
        return TestedHelper({.kind = HelperKind::planned}).run(tool, arguments);
    }
    static Status move(const std::string& from, const std::string& to) {
        return run("/bin/mv", {"-f", from, to});
    }

    /// Makes an application whose list has this content, and returns its path.
    static std::string makeApplication(const std::string& list, uid_t owner = 0,
                                       uid_t contentsOwner = 0) {
        const std::string path = makeDirectory(sandbox::rootsDirectory + "/Player.app", owner);
        makeDirectory(path + "/Contents", contentsOwner);
        std::ofstream(makeFile(path + "/Contents/Info.plist", contentsOwner)) << list;
        return path;
    }
};

TEST_F(HelperPlan, HasItsItemsMovedToTheUsersTrash) {
    for (const auto& path : {machine() + "/item.plist", machine() + "/Install 2.pkg",
                             machine() + "/iNSTALL .pkg", home() + "/Library/other.plist", job()}) {
        const std::string file = makeFile(path);
        const std::string moved = trash() + "/" + fs::path(path).filename().string();
        EXPECT_EQ(move(file, moved), Status::started) << path;
        EXPECT_FALSE(exists(file)) << path;
        EXPECT_TRUE(exists(moved)) << path;
    }
}

TEST_F(HelperPlan, HasThemMovedWhereTheUsersOwnLinkLeads) {
    fs::remove(trash());
    makeDirectory(home() + "/share", servedUser);
    makeLink("share", trash(), servedUser);
    EXPECT_EQ(move(makeFile(machine() + "/item.plist"), trash() + "/new"), Status::started);
    EXPECT_TRUE(exists(home() + "/share/new"));
}

TEST_F(HelperPlan, HasNothingElseMoved) {
    for (const auto& path :
         {machine() + "/item", machine() + "/Install", machine() + "/deep", machine(),
          sandbox::rootsDirectory + "/item.plist", home() + "/item.plist",
          home() + "/Library/LaunchAgents/com.example.other.plist"}) {
        if (!exists(path)) {
            makeFile(path);
        }
        EXPECT_EQ(move(path, trash() + "/moved"), Status::notPlanned) << path;
        EXPECT_TRUE(exists(path)) << path;
    }
    EXPECT_TRUE(fs::is_empty(trash()));
}

TEST_F(HelperPlan, HasNothingMovedToAnotherPlaceThanTheUsersTrash) {
    const std::string item = makeFile(machine() + "/item.plist");
    const std::string inner = makeDirectory(trash() + "/folder", servedUser);
    const std::string anothers = makeDirectory(sandbox::everybodysDirectory + "/homes/x", 23456);
    for (const auto& place : {machine() + "/other.plist", home() + "/new", inner, inner + "/new",
                              makeDirectory(anothers + "/.Trash", 23456) + "/new", anothers,
                              sandbox::rootsDirectory + "/new"}) {
        EXPECT_EQ(move(item, place), Status::notPlanned) << place;
    }
    EXPECT_TRUE(exists(item));
}

TEST_F(HelperPlan, HasNothingMovedWithoutAPlace) {
    const std::string item = makeFile(machine() + "/item.plist");
    EXPECT_EQ(move(item, ""), Status::commandUnknown);
    EXPECT_EQ(move("", trash() + "/new"), Status::commandUnknown);
    EXPECT_EQ(move(item, "item.plist"), Status::commandUnknown);
    EXPECT_EQ(move(item, trash() + "/missing/new"), Status::itemUnreachable);
    EXPECT_TRUE(exists(item));
}

TEST_F(HelperPlan, TakesNoDirectoryOfAnothersForTheTrash) {
    const std::string item = makeFile(machine() + "/item.plist");
    fs::remove(trash());
    makeLink(makeDirectory(sandbox::rootsDirectory + "/roots"), trash(), servedUser);
    EXPECT_EQ(move(item, trash() + "/new"), Status::itemRedirected);
    fs::remove(trash());
    makeDirectory(trash(), 0);
    EXPECT_EQ(move(item, trash() + "/new"), Status::notPlanned);
    EXPECT_TRUE(exists(item));
}

TEST_F(HelperPlan, TakesNoDirectoryForTheTrashToWhichAnotherCouldHaveLed) {
    const std::string item = makeFile(machine() + "/item.plist");
    const std::string real = makeDirectory(home() + "/share", servedUser);
    fs::remove(trash());
    makeLink(makeLink(real, sandbox::everybodysDirectory + "/link", 23456), trash(), servedUser);
    EXPECT_EQ(move(item, real + "/new"), Status::notPlanned);
    EXPECT_TRUE(exists(item));
}

TEST_F(HelperPlan, HasNoToolStarted) {
    const std::string item = makeFile(machine() + "/item.plist");
    for (const char* tool : {"/bin/sh", "/usr/bin/env", "/bin/true"}) {
        EXPECT_EQ(run(tool, {}), Status::notPlanned) << tool;
    }
    EXPECT_EQ(run("/bin/cp", {"-f", "-p", "-R", item, trash()}), Status::notPlanned);
    EXPECT_EQ(run("/bin/cp", {item, trash()}), Status::notPlanned);
    EXPECT_EQ(run("/usr/bin/touch", {"-c", item}), Status::notPlanned);
    EXPECT_EQ(run("/bin/chmod", {"777", item}), Status::notPlanned);
    TestedHelper helper({.kind = HelperKind::planned});
    EXPECT_EQ(helper.run("/bin/sh", {"-c", "true"}), Status::notPlanned);
    EXPECT_EQ(helper.nextLogLine(),
              "refused a request of user 12345: the program's plan does not name it: /bin/sh");
}

// ---- Applications ------------------------------------------------------------------------------

TEST_F(HelperPlan, HasAnApplicationMovedFromWhereverItIs) {
    for (const auto& list : {listWith("com.example.Player"), listWith("COM.example.player"),
                             binaryListWith("com.example.Player")}) {
        const std::string path = makeApplication(list);
        EXPECT_EQ(move(path, trash() + "/Player.app"), Status::started) << list;
        EXPECT_FALSE(exists(path));
        fs::remove_all(trash() + "/Player.app");
    }
}

TEST_F(HelperPlan, HasNoOtherApplicationMoved) {
    for (const auto& list : {listWith("com.example.Other"), listWith("inner"), ""s,
                             listWith("com.example.Player").substr(0, 150)}) {
        const std::string path = makeApplication(list);
        EXPECT_EQ(move(path, trash() + "/Player.app"), Status::notPlanned) << list;
        fs::remove_all(path);
    }
}

TEST_F(HelperPlan, TakesNoListThatAnotherHasPutIntoAnApplication) {
    const std::string path = makeApplication(listWith("com.example.Player"));
    for (const auto* anothers : {"/Contents", "/Contents/Info.plist"}) {
        ASSERT_EQ(::chown((path + anothers).c_str(), servedUser, 0), 0);
        EXPECT_EQ(move(path, trash() + "/Player.app"), Status::notPlanned) << anothers;
        ASSERT_EQ(::chown((path + anothers).c_str(), 0, 0), 0);
    }
    EXPECT_EQ(move(path, trash() + "/Player.app"), Status::started);
}

TEST_F(HelperPlan, TakesTheListThatRootHasPutIntoAnApplication) {
    const std::string path = makeApplication(listWith("com.example.Player"), servedUser, 0);
    EXPECT_EQ(move(path, trash() + "/Player.app"), Status::started);
}

TEST_F(HelperPlan, TakesNoDirectoryForAnApplicationBecauseAnotherSaysSo) {
    const std::string list = listWith("com.example.Player");
    const std::string path = makeApplication(list, 0, servedUser);
    EXPECT_EQ(move(path, trash() + "/Player.app"), Status::notPlanned);
    fs::remove_all(path);
    makeApplication(list);
    const std::string file = path + "/Contents/Info.plist";
    fs::create_hard_link(file, path + "/name");
    EXPECT_EQ(move(path, trash() + "/Player.app"), Status::notPlanned);
    fs::remove(path + "/name");
    fs::rename(file, path + "/Contents/list");
    makeLink("list", file, 0);
    EXPECT_EQ(move(path, trash() + "/Player.app"), Status::notPlanned);
    fs::remove(file);
    ASSERT_EQ(::mkfifo(file.c_str(), 0644), 0);
    EXPECT_EQ(move(path, trash() + "/Player.app"), Status::notPlanned);
}

// ---- The way back ------------------------------------------------------------------------------

TEST_F(HelperPlan, HasWhatIsRootsPutBackFromTheTrash) {
    for (const auto& path : {machine() + "/item.plist", machine() + "/Install 2.pkg",
                             home() + "/Library/other.plist", job()}) {
        const std::string file = makeFile(trash() + "/file");
        EXPECT_EQ(move(file, path), Status::started) << path;
        EXPECT_TRUE(exists(path)) << path;
        EXPECT_FALSE(exists(file)) << path;
    }
}

TEST_F(HelperPlan, HasNothingOfTheUsersPutWhereAllUsersFindIt) {
    const std::string file = makeFile(trash() + "/file", servedUser);
    const std::string open = makeFile(trash() + "/open", 0, 0664);
    const std::string link = makeLink(file, trash() + "/link", servedUser);
    for (const auto& item : {file, open, link}) {
        EXPECT_EQ(move(item, machine() + "/item.plist"), Status::notPlanned) << item;
        EXPECT_TRUE(exists(item));
    }
    EXPECT_EQ(move(file, home() + "/Library/item.plist"), Status::started);
}

TEST_F(HelperPlan, HasNothingPutBackFromAFileSystemThatMayBeAnybodysWork) {
    ASSERT_EQ(::mount("tmpfs", trash().c_str(), "tmpfs", MS_NOSUID, "mode=700,uid=12345"), 0);
    const std::string file = makeFile(trash() + "/file");
    EXPECT_EQ(move(file, machine() + "/item.plist"), Status::notPlanned);
    EXPECT_TRUE(exists(file));
    EXPECT_EQ(::umount2(trash().c_str(), MNT_DETACH), 0);
}

TEST_F(HelperPlan, HasNothingReplacedByWhatIsPutBack) {
    const std::string file = makeFile(trash() + "/file");
    const std::string item = makeFile(machine() + "/item.plist");
    const std::string directory = makeDirectory(machine() + "/other.plist");
    EXPECT_EQ(move(file, item), Status::notPlanned);
    EXPECT_EQ(move(file, directory), Status::notPlanned);
    EXPECT_EQ(contentOf(item), "content of " + item);
    EXPECT_TRUE(fs::is_empty(directory));
}

TEST_F(HelperPlan, HasNothingPutElsewhereOrFromElsewhere) {
    const std::string file = makeFile(trash() + "/file");
    for (const auto& place : {machine() + "/file", sandbox::rootsDirectory + "/file", machine()}) {
        EXPECT_EQ(move(file, place), Status::notPlanned) << place;
    }
    EXPECT_EQ(move(makeFile(home() + "/file"), machine() + "/item.plist"), Status::notPlanned);
}

TEST_F(HelperPlan, HasTheDirectoriesOnTheWayBackMade) {
    EXPECT_EQ(run("/bin/mkdir", {"-p", machine() + "/deep/er"}), Status::started);
    EXPECT_TRUE(exists(machine() + "/deep/er"));
    for (const auto& path : {machine() + "/deep/er/item", machine() + "/de", "/etc"s,
                             home() + "/Library/LaunchAgents"}) {
        EXPECT_EQ(run("/bin/mkdir", {"-p", path}), Status::notPlanned) << path;
    }
}

TEST_F(HelperPlan, PutsBackTheVeryItemThatIsRoots) {
    // In memory all of it is one file system, as where the home directory is on the machine's.
    const std::string roots = makeFile(trash() + "/roots");
    const std::string users = makeFile(trash() + "/users", servedUser);
    fs::remove(sandbox::rootsDirectory + "/machine");
    const std::string real = makeDirectory(sandbox::everybodysDirectory + "/machine");
    makeLink(real, machine(), 0);
    {
        TestedHelper helper({.kind = HelperKind::planned});
        const Attacker attacker([&] { return exchange(roots, users) || true; });
        for (int round = 0; round < 1000; ++round) {
            helper.run("/bin/mv", {"-f", roots, machine() + "/item.plist"});
            if (const std::string put = real + "/item.plist"; exists(put)) {
                struct stat status {};
                ASSERT_EQ(::lstat(put.c_str(), &status), 0);
                ASSERT_EQ(status.st_uid, 0U);
                const std::string free = exists(roots) ? users : roots;
                fs::rename(put, free);
            }
        }
    }
    EXPECT_EQ(std::distance(fs::directory_iterator(real), {}), 0);
}

// ---- Jobs --------------------------------------------------------------------------------------

TEST_F(HelperPlan, HasJobFilesRemoved) {
    const std::string file = makeFile(job(), servedUser);
    EXPECT_EQ(run("/bin/rm", {"-Rdf", file}), Status::started);
    EXPECT_FALSE(exists(file));
}

TEST_F(HelperPlan, HasAJobFileThatIsGoneRemovedWithoutAWord) {
    TestedHelper helper({.kind = HelperKind::planned});
    EXPECT_EQ(helper.run("/bin/rm", {"-Rdf", job()}), Status::started);
    helper.disconnect();
    EXPECT_EQ(helper.waitForEnd(), 0);
    EXPECT_FALSE(helper.hasLogLine());
}

TEST_F(HelperPlan, HasNoDirectoryRemovedThatIsSwappedInForAJobFile) {
    const std::string other = home() + "/Library/LaunchAgents/other";
    for (int round = 0; round < 50; ++round) {
        makeFile(job(), servedUser);
        makeFile(makeDirectory(other) + "/kept");
        {
            const Attacker attacker([&] {
                exchange(job(), other); // until the file is removed
                return true;
            });
            run("/bin/rm", {"-Rdf", job()});
        }
        ASSERT_TRUE(exists(job() + "/kept") || exists(other + "/kept"));
        fs::remove_all(job());
        fs::remove_all(other);
    }
}

TEST_F(HelperPlan, HasNothingElseRemoved) {
    makeDirectory(job(), servedUser);
    const std::string item = makeFile(machine() + "/item.plist");
    EXPECT_EQ(run("/bin/rm", {"-Rdf", job()}), Status::notPlanned);
    EXPECT_EQ(run("/bin/rm", {"-Rdf", item}), Status::notPlanned);
    EXPECT_EQ(run("/bin/rm", {"-Rdf", job() + "x", item}), Status::notPlanned);
    EXPECT_TRUE(exists(item));
    EXPECT_TRUE(exists(job()));
}

TEST_F(HelperPlan, HasItsItemsDeletedFromTheUsersTrash) {
    for (const auto& name : {"item.plist"s, "item_20260102030405.plist"s, "item.2.plist"s}) {
        const std::string item = makeDirectory(trash() + "/" + name);
        makeFile(item + "/inside");
        EXPECT_EQ(run("/bin/rm", {"-Rdf", item}), Status::started) << name;
        EXPECT_FALSE(exists(item)) << name;
    }
}

TEST_F(HelperPlan, HasNothingElseDeletedFromTheTrash) {
    const std::string other = makeFile(trash() + "/letter.txt");
    const std::string inside = makeFile(makeDirectory(trash() + "/folder") + "/item.plist");
    const std::string job = makeFile(HelperPlan::job(), servedUser);
    const std::string item = makeDirectory(trash() + "/item.plist");
    EXPECT_EQ(run("/bin/rm", {"-Rdf", other}), Status::notPlanned);
    EXPECT_EQ(run("/bin/rm", {"-Rdf", inside}), Status::notPlanned);
    EXPECT_EQ(run("/bin/rm", {"-Rdf", item, other}), Status::notPlanned);
    EXPECT_EQ(run("/bin/rm", {"-Rdf", job, item}), Status::notPlanned);
    for (const auto& path : {other, inside, job, item}) {
        EXPECT_TRUE(exists(path)) << path;
    }
}

TEST_F(HelperPlan, HasItsApplicationsDeletedFromTheTrash) {
    const std::string application = makeApplication(listWith("com.example.Player"), 0, 0);
    const std::string trashed = trash() + "/Player.app";
    fs::copy(application, trashed, fs::copy_options::recursive);
    EXPECT_EQ(run("/bin/rm", {"-Rdf", trashed}), Status::started);
    EXPECT_FALSE(exists(trashed));
}

// What root owns then could be put where all users find it.
TEST_F(HelperPlan, HasNothingOfTheUsersGivenToRoot) {
    const std::string file = makeFile(job(), servedUser, 0600);
    EXPECT_EQ(run("/bin/chown", {"root:wheel", file}), Status::notPlanned);
    EXPECT_EQ(run("/bin/chmod", {"644", file}), Status::notPlanned);
    struct stat status {};
    ASSERT_EQ(::lstat(file.c_str(), &status), 0);
    EXPECT_EQ(status.st_uid, servedUser);
    EXPECT_EQ(status.st_mode & 07777U, 0600U);
}
