// What a helper does that is for one program's plan, and that it does nothing else.
// PlannedTerms.cpp has the plan.

#include "platform/linux/authorization/helper/PlanCheck.h"

#include "tests/platform/linux/authorization/helper/Attacker.h"
#include "tests/platform/linux/authorization/helper/HelperHarness.h"
#include "tests/platform/linux/authorization/helper/InformationLists.h"
#include "tests/platform/linux/authorization/helper/StageHarness.h"
#include "tests/support/NamedCase.h"
#include "tests/support/TemporaryDirectory.h"

#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

using qf::native::helper::Status;

namespace {

namespace fs = std::filesystem;

const std::string& home() {
    return sandbox::servedHome;
}
std::string trash() {
    return home() + "/.Trash";
}
std::string machine() {
    return sandbox::rootsDirectory + "/machine";
}
std::string job() {
    return home() + "/Library/LaunchAgents/com.example.job.plist";
}

std::string anothersHome() {
    return sandbox::everybodysDirectory + "/homes/x";
}

struct PathCase : NamedCase {
    std::string path;
};

struct ListCase : NamedCase {
    std::string list;
};

struct CommandCase : NamedCase {
    std::string tool;
    std::vector<std::string> arguments;
};

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

class HelperPlanItem : public HelperPlan, public testing::WithParamInterface<PathCase> {};

TEST_P(HelperPlanItem, HasItsItemsMovedToTheUsersTrash) {
    const std::string file = makeFile(GetParam().path);
    const std::string moved = trash() + "/" + fs::path(file).filename().string();
    EXPECT_EQ(move(file, moved), Status::started);
    EXPECT_FALSE(exists(file));
    EXPECT_TRUE(exists(moved));
}

TEST_P(HelperPlanItem, HasWhatIsRootsPutBackFromTheTrash) {
    const std::string file = makeFile(trash() + "/file");
    EXPECT_EQ(move(file, GetParam().path), Status::started);
    EXPECT_TRUE(exists(GetParam().path));
    EXPECT_FALSE(exists(file));
}

INSTANTIATE_TEST_SUITE_P(, HelperPlanItem,
                         testing::Values(PathCase{{"Item"}, machine() + "/item.plist"},
                                         PathCase{{"Beginning"}, machine() + "/Install 2.pkg"},
                                         PathCase{{"BeginningInOtherCase"},
                                                  machine() + "/iNSTALL .pkg"},
                                         PathCase{{"InTheHome"}, home() + "/Library/other.plist"},
                                         PathCase{{"Job"}, job()}),
                         nameOfCase);

TEST_F(HelperPlan, HasThemMovedWhereTheUsersOwnLinkLeads) {
    fs::remove(trash());
    makeDirectory(home() + "/share", servedUser);
    makeLink("share", trash(), servedUser);
    EXPECT_EQ(move(makeFile(machine() + "/item.plist"), trash() + "/new"), Status::started);
    EXPECT_TRUE(exists(home() + "/share/new"));
}

class HelperPlanStranger : public HelperPlan, public testing::WithParamInterface<PathCase> {};

TEST_P(HelperPlanStranger, HasNothingElseMoved) {
    const std::string& path = GetParam().path;
    if (!exists(path)) {
        makeFile(path);
    }
    EXPECT_EQ(move(path, trash() + "/moved"), Status::notPlanned);
    EXPECT_TRUE(exists(path));
    EXPECT_TRUE(fs::is_empty(trash()));
}

INSTANTIATE_TEST_SUITE_P(
    , HelperPlanStranger,
    testing::Values(PathCase{{"WithoutSuffix"}, machine() + "/item"},
                    PathCase{{"ShorterThanTheBeginning"}, machine() + "/Install"},
                    PathCase{{"DirectoryOnTheWay"}, machine() + "/deep"},
                    PathCase{{"DirectoryOfItems"}, machine()},
                    PathCase{{"InAnotherDirectory"}, sandbox::rootsDirectory + "/item.plist"},
                    PathCase{{"InTheHomeItself"}, home() + "/item.plist"},
                    PathCase{{"OtherJob"},
                             home() + "/Library/LaunchAgents/com.example.other.plist"}),
    nameOfCase);

class HelperPlanWrongTrash : public HelperPlan, public testing::WithParamInterface<PathCase> {};

TEST_P(HelperPlanWrongTrash, HasNothingMovedToAnotherPlaceThanTheUsersTrash) {
    const std::string item = makeFile(machine() + "/item.plist");
    makeDirectory(trash() + "/folder", servedUser);
    makeDirectory(makeDirectory(anothersHome(), 23456) + "/.Trash", 23456);
    EXPECT_EQ(move(item, GetParam().path), Status::notPlanned);
    EXPECT_TRUE(exists(item));
}

INSTANTIATE_TEST_SUITE_P(
    , HelperPlanWrongTrash,
    testing::Values(PathCase{{"DirectoryOfItems"}, machine() + "/other.plist"},
                    PathCase{{"Home"}, home() + "/new"},
                    PathCase{{"ReplacingATrashedDirectory"}, trash() + "/folder"},
                    PathCase{{"InsideATrashedDirectory"}, trash() + "/folder/new"},
                    PathCase{{"AnothersTrash"}, anothersHome() + "/.Trash/new"},
                    PathCase{{"AnothersHome"}, anothersHome()},
                    PathCase{{"RootsDirectory"}, sandbox::rootsDirectory + "/new"}),
    nameOfCase);

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

TEST_F(HelperPlan, TakesNothingFromADirectoryThatIsNoTrash) {
    const std::string precious = makeDirectory(home() + "/precious", servedUser);
    const std::string file = makeFile(precious + "/item.plist", servedUser);
    const std::string roots = makeFile(precious + "/item.2.plist");
    fs::remove(trash());
    makeLink(precious, trash(), servedUser);
    EXPECT_EQ(run("/bin/rm", {"-Rdf", trash() + "/item.plist"}), Status::notPlanned);
    EXPECT_EQ(move(trash() + "/item.2.plist", machine() + "/item.plist"), Status::notPlanned);
    EXPECT_TRUE(exists(file));
    EXPECT_TRUE(exists(roots));
}

TEST_F(HelperPlan, TakesNothingFromATrashWithoutInfos) {
    const std::string files =
        makeDirectory(makeDirectory(home() + "/share", servedUser) + "/files", servedUser);
    const std::string item = makeFile(files + "/item.plist");
    fs::remove(trash());
    makeLink(files, trash(), servedUser);
    EXPECT_EQ(run("/bin/rm", {"-Rdf", trash() + "/item.plist"}), Status::notPlanned);
    makeDirectory(home() + "/share/info", servedUser);
    EXPECT_EQ(run("/bin/rm", {"-Rdf", trash() + "/item.plist"}), Status::started);
    EXPECT_FALSE(exists(item));
}

class HelperPlanTool : public HelperPlan, public testing::WithParamInterface<CommandCase> {};

TEST_P(HelperPlanTool, HasNoToolStarted) {
    makeFile(machine() + "/item.plist");
    TestedHelper helper({.kind = HelperKind::planned});
    EXPECT_EQ(helper.run(GetParam().tool, GetParam().arguments), Status::notPlanned);
    EXPECT_TRUE(helper.nextLogLine().starts_with(
        "refused a request of user 12345: the program's plan does not name it: "));
}

INSTANTIATE_TEST_SUITE_P(
    , HelperPlanTool,
    testing::Values(CommandCase{{"Shell"}, "/bin/sh", {"-c", "true"}},
                    CommandCase{{"Env"}, "/usr/bin/env", {}},
                    CommandCase{{"True"}, "/bin/true", {}},
                    CommandCase{{"CopyOfTheHelpers"},
                                "/bin/cp",
                                {"-f", "-p", "-R", machine() + "/item.plist", trash()}},
                    CommandCase{
                        {"CopyOfTheTools"}, "/bin/cp", {machine() + "/item.plist", trash()}},
                    CommandCase{{"Touch"}, "/usr/bin/touch", {"-c", machine() + "/item.plist"}},
                    CommandCase{{"Mode"}, "/bin/chmod", {"777", machine() + "/item.plist"}}),
    nameOfCase);

// ---- Applications ------------------------------------------------------------------------------

class HelperPlanApplication : public HelperPlan, public testing::WithParamInterface<ListCase> {};

TEST_P(HelperPlanApplication, HasAnApplicationMovedFromWhereverItIs) {
    const std::string path = makeApplication(GetParam().list);
    EXPECT_EQ(move(path, trash() + "/Player.app"), Status::started);
    EXPECT_FALSE(exists(path));
}

INSTANTIATE_TEST_SUITE_P(, HelperPlanApplication,
                         testing::Values(ListCase{{"Identifier"}, listWith("com.example.Player")},
                                         ListCase{{"OtherCase"}, listWith("COM.example.player")},
                                         ListCase{{"Binary"},
                                                  binaryListWith("com.example.Player")}),
                         nameOfCase);

class HelperPlanOtherApplication : public HelperPlan,
                                   public testing::WithParamInterface<ListCase> {};

TEST_P(HelperPlanOtherApplication, HasNoOtherApplicationMoved) {
    const std::string path = makeApplication(GetParam().list);
    EXPECT_EQ(move(path, trash() + "/Player.app"), Status::notPlanned);
    EXPECT_TRUE(exists(path));
}

INSTANTIATE_TEST_SUITE_P(
    , HelperPlanOtherApplication,
    testing::Values(ListCase{{"OtherIdentifier"}, listWith("com.example.Other")},
                    ListCase{{"KeyThatIsElsewhere"}, listWith("inner")},
                    ListCase{{"EmptyList"}, ""},
                    ListCase{{"CutList"}, listWith("com.example.Player").substr(0, 150)}),
    nameOfCase);

class HelperPlanAnothersList : public HelperPlan, public testing::WithParamInterface<PathCase> {};

TEST_P(HelperPlanAnothersList, TakesNoListThatAnotherHasPutIntoAnApplication) {
    const std::string path = makeApplication(listWith("com.example.Player"));
    ASSERT_EQ(::chown((path + GetParam().path).c_str(), servedUser, 0), 0);
    EXPECT_EQ(move(path, trash() + "/Player.app"), Status::notPlanned);
    ASSERT_EQ(::chown((path + GetParam().path).c_str(), 0, 0), 0);
    EXPECT_EQ(move(path, trash() + "/Player.app"), Status::started);
}

INSTANTIATE_TEST_SUITE_P(, HelperPlanAnothersList,
                         testing::Values(PathCase{{"InAnothersDirectory"}, "/Contents"},
                                         PathCase{{"Itself"}, "/Contents/Info.plist"}),
                         nameOfCase);

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

class HelperPlanUsersItem : public HelperPlan, public testing::WithParamInterface<PathCase> {};

TEST_P(HelperPlanUsersItem, HasNothingOfTheUsersPutWhereAllUsersFindIt) {
    const std::string file = makeFile(trash() + "/file", servedUser);
    makeFile(trash() + "/open", 0, 0664);
    makeLink(file, trash() + "/link", servedUser);
    EXPECT_EQ(move(GetParam().path, machine() + "/item.plist"), Status::notPlanned);
    EXPECT_TRUE(exists(GetParam().path));
}

INSTANTIATE_TEST_SUITE_P(, HelperPlanUsersItem,
                         testing::Values(PathCase{{"File"}, trash() + "/file"},
                                         PathCase{{"FileThatAGroupWrites"}, trash() + "/open"},
                                         PathCase{{"Link"}, trash() + "/link"}),
                         nameOfCase);

TEST_F(HelperPlan, HasTheUsersItemPutBackInTheHome) {
    const std::string file = makeFile(trash() + "/file", servedUser);
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

TEST_F(HelperPlan, HasNothingPutFromElsewhere) {
    EXPECT_EQ(move(makeFile(home() + "/file"), machine() + "/item.plist"), Status::notPlanned);
}

TEST_F(HelperPlan, HasWhatIsRootsFinishedThatWasOnItsWayBack) {
    abandonItem(machine(), makeFile(machine() + "/file"), "item.plist");

    EXPECT_EQ(move(trash() + "/file", machine() + "/item.plist"), Status::started);

    EXPECT_EQ(contentOf(machine() + "/item.plist"), "content of " + machine() + "/file");
    EXPECT_EQ(std::distance(fs::directory_iterator(machine()), {}), 1);
}

TEST_F(HelperPlan, HasNothingOfTheUsersFinishedThatWasOnItsWayBack) {
    abandonItem(machine(), makeFile(machine() + "/file", servedUser), "item.plist");

    EXPECT_EQ(move(trash() + "/file", machine() + "/item.plist"), Status::notPlanned);

    EXPECT_FALSE(exists(machine() + "/item.plist"));
}

TEST_F(HelperPlan, HasNothingFinishedThatIsNotOnItsWayBackFromTheTrash) {
    abandonItem(machine(), makeFile(machine() + "/file"), "item.plist");

    EXPECT_EQ(move(home() + "/file", machine() + "/item.plist"), Status::notPlanned);

    EXPECT_FALSE(exists(machine() + "/item.plist"));
}

TEST_F(HelperPlan, HasNothingFinishedElsewhere) {
    abandonItem(machine(), makeFile(machine() + "/file"), "item");

    EXPECT_EQ(move(trash() + "/file", machine() + "/item"), Status::notPlanned);

    EXPECT_FALSE(exists(machine() + "/item"));
}

class HelperPlanPlace : public HelperPlan, public testing::WithParamInterface<PathCase> {};

TEST_P(HelperPlanPlace, HasNothingPutElsewhere) {
    EXPECT_EQ(move(makeFile(trash() + "/file"), GetParam().path), Status::notPlanned);
}

INSTANTIATE_TEST_SUITE_P(, HelperPlanPlace,
                         testing::Values(PathCase{{"OtherName"}, machine() + "/file"},
                                         PathCase{{"OtherDirectory"},
                                                  sandbox::rootsDirectory + "/file"},
                                         PathCase{{"DirectoryOfItems"}, machine()}),
                         nameOfCase);

TEST_F(HelperPlan, HasTheDirectoriesOnTheWayBackMade) {
    EXPECT_EQ(run("/bin/mkdir", {"-p", machine() + "/deep/er"}), Status::started);
    EXPECT_TRUE(exists(machine() + "/deep/er"));
}

class HelperPlanDirectory : public HelperPlan, public testing::WithParamInterface<PathCase> {};

TEST_P(HelperPlanDirectory, HasNoOtherDirectoryMade) {
    EXPECT_EQ(run("/bin/mkdir", {"-p", GetParam().path}), Status::notPlanned);
}

INSTANTIATE_TEST_SUITE_P(, HelperPlanDirectory,
                         testing::Values(PathCase{{"Item"}, machine() + "/deep/er/item"},
                                         PathCase{{"BeginningOfOne"}, machine() + "/de"},
                                         PathCase{{"System"}, "/etc"},
                                         PathCase{{"InTheHome"}, home() + "/Library/LaunchAgents"}),
                         nameOfCase);

/// The rights of a directory of root's, which its group may change or not.
class HelperPlanRights : public HelperPlan, public testing::WithParamInterface<mode_t> {};

TEST_P(HelperPlanRights, PutsBackTheVeryItemThatIsRoots) {
    // In memory all of it is one file system, as where the home directory is on the machine's.
    const std::string roots = makeFile(trash() + "/roots");
    const std::string users = makeFile(trash() + "/users", servedUser);
    fs::remove(sandbox::rootsDirectory + "/machine");
    const std::string real = makeDirectory(sandbox::everybodysDirectory + "/machine");
    ASSERT_EQ(::chmod(real.c_str(), GetParam()), 0);
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

INSTANTIATE_TEST_SUITE_P(, HelperPlanRights, testing::Values(0755, 0775));

TEST_F(HelperPlan, GivesTheUserWhatIsRootsOnAFileSystemThatMayBeAnybodysWork) {
    ASSERT_EQ(::mount("tmpfs", machine().c_str(), "tmpfs", MS_NOSUID, "mode=755"), 0);
    const std::string item = makeDirectory(machine() + "/item.plist");
    makeFile(item + "/file");
    const std::string moved = trash() + "/item.plist";
    {
        TestedHelper helper({.kind = HelperKind::planned});
        EXPECT_EQ(helper.run("/bin/mv", {"-f", item, moved}), Status::started);
        helper.disconnect();
        EXPECT_EQ(helper.waitForEnd(), 0);
    }
    for (const auto& path : {moved, moved + "/file"}) {
        struct stat status {};
        EXPECT_EQ(::lstat(path.c_str(), &status), 0) << path;
        EXPECT_EQ(status.st_uid, servedUser) << path;
    }
    EXPECT_EQ(move(moved, machine() + "/item.plist"), Status::notPlanned);
    EXPECT_EQ(::umount2(machine().c_str(), MNT_DETACH), 0);
}

TEST_F(HelperPlan, HasNothingOfAnotherUsersDeletedFromTheTrash) {
    constexpr uid_t another = 54321;
    const std::string file = makeFile(trash() + "/item.plist", another);
    EXPECT_EQ(run("/bin/rm", {"-Rdf", file}), Status::notPlanned);
    EXPECT_TRUE(exists(file));
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

class HelperPlanTrashed : public HelperPlan, public testing::WithParamInterface<const char*> {};

TEST_P(HelperPlanTrashed, HasItsItemsDeletedFromTheUsersTrash) {
    const std::string item = makeDirectory(trash() + "/" + GetParam());
    makeFile(item + "/inside");
    EXPECT_EQ(run("/bin/rm", {"-Rdf", item}), Status::started);
    EXPECT_FALSE(exists(item));
}

INSTANTIATE_TEST_SUITE_P(, HelperPlanTrashed,
                         testing::Values("item.plist", "item_20260102030405.plist",
                                         "item.2.plist"));

TEST_F(HelperPlan, HasNothingElseDeletedFromTheTrash) {
    const std::string other = makeFile(trash() + "/letter.txt");
    const std::string inside = makeFile(makeDirectory(trash() + "/folder") + "/item.plist");
    const std::string jobFile = makeFile(job(), servedUser);
    const std::string item = makeDirectory(trash() + "/item.plist");
    EXPECT_EQ(run("/bin/rm", {"-Rdf", other}), Status::notPlanned);
    EXPECT_EQ(run("/bin/rm", {"-Rdf", inside}), Status::notPlanned);
    EXPECT_EQ(run("/bin/rm", {"-Rdf", item, other}), Status::notPlanned);
    EXPECT_EQ(run("/bin/rm", {"-Rdf", jobFile, item}), Status::notPlanned);
    for (const auto& path : {other, inside, jobFile, item}) {
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

/// A home directory in the list of accounts; the user is in no list where it is empty.
class HelperPlanWithoutHome : public HelperPlan, public testing::WithParamInterface<NamedText> {
protected:
    void SetUp() override {
        HelperPlan::SetUp();
        if (IsSkipped()) {
            return;
        }
        const std::string accounts = makeFile(sandbox::rootsDirectory + "/accounts");
        std::ofstream list(accounts);
        list << "root:x:0:0::/root:/bin/sh\n";
        if (!GetParam().value.empty()) {
            list << "served:x:" << servedUser << ":65534::" << GetParam().value << ":/bin/sh\n";
        }
        ASSERT_EQ(::mount(accounts.c_str(), "/etc/passwd", nullptr, MS_BIND, nullptr), 0);
        isReplaced_ = true;
    }
    void TearDown() override {
        if (isReplaced_) {
            EXPECT_EQ(::umount2("/etc/passwd", MNT_DETACH), 0);
        }
    }

private:
    bool isReplaced_ = false;
};

TEST_P(HelperPlanWithoutHome, HasNothingMoved) {
    const std::string file = makeFile(machine() + "/item.plist");
    TestedHelper helper({.kind = HelperKind::planned});
    EXPECT_EQ(helper.run("/bin/mv", {"-f", file, trash() + "/moved"}), Status::itemUnreachable);
    EXPECT_EQ(helper.nextLogLine(), "refused a request of user 12345: an item cannot be reached: "
                                    "the home folder of user 12345");
    EXPECT_TRUE(exists(file));
}

INSTANTIATE_TEST_SUITE_P(, HelperPlanWithoutHome,
                         testing::Values(NamedText{{"UnknownUser"}, ""},
                                         NamedText{{"TheWholeMachine"}, "/"},
                                         NamedText{{"NoAbsolutePath"}, "tmp/homes/served"}),
                         nameOfCase);

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
