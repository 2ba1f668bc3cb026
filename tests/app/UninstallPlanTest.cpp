#include "app/UninstallPlan.h"

#include "tests/support/StandardLocations.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>

namespace {

using qf::DirectoryKind;
using qf::DomainMask;

/// The plan of a user whose home is /home/someone.
class UninstallPlan : public StandardLocations {};

std::ptrdiff_t count(const std::vector<PlanRow>& rows, PlanAction action) {
    return std::ranges::count(rows, action, &PlanRow::action);
}

/// Every row of a run that removes the shared items too.
const std::vector<PlanRow> everything = {
    // clang-format off
    {PlanAction::kill,
     "/usr/bin/killall",
     {"Dunmarl", "DunmarlHelper", "Ospenth", "Vellicor", "Quillfen App Launcher",
      "Quillfen Software Update", "HarrowinStelbrin", "Caddamir", "Frensow", "Gilrath", "Lunevar",
      "LunevarHelper", "Pemmick", "Torvast"}},
    {PlanAction::trashBundle, "com.quillfen.Dunmarl", {}},
    {PlanAction::trashBundle, "com.quillfen.Ospenth", {}},
    {PlanAction::trashBundle, "com.quillfen.Vellicor", {}},
    {PlanAction::trashBundle, "com.quillfen.Harrowin", {}},
    {PlanAction::trashBundle, "com.quillfen.Caddamir", {}},
    {PlanAction::trashBundle, "com.quillfen.Stelbrin", {}},
    {PlanAction::trashBundle, "com.quillfen.Frensow", {}},
    {PlanAction::trashBundle, "com.quillfen.Gilrath", {}},
    {PlanAction::trashBundle, "com.quillfen.Lunevar", {}},
    {PlanAction::trashBundle, "com.quillfen.Pemmick", {}},
    {PlanAction::trashBundle, "com.quillfen.Torvast", {}},
    {PlanAction::trashBundle, "com.quillfen.SoftwareUpdate", {}}, // shared
    {PlanAction::trashBundle, "com.quillfen.launcher", {}}, // shared
    {PlanAction::trash, "/Applications/Quillfen/Kelvane/Dunmarl.app", {}},
    {PlanAction::trash, "/Applications/Quillfen/Kelvane/Ospenth.app", {}},
    {PlanAction::trash, "/Applications/Quillfen/Kelvane/Vellicor.app", {}},
    {PlanAction::trash, "/Applications/Quillfen/Kelvane/Harrowin.app", {}},
    {PlanAction::trash, "/Applications/Quillfen/Kelvane/Caddamir.app", {}},
    {PlanAction::trash, "/Applications/Quillfen/Kelvane/Stelbrin.app", {}},
    {PlanAction::trash, "/Applications/Quillfen/Kelvane/Frensow.app", {}},
    {PlanAction::trash, "/Applications/Quillfen/Kelvane/Gilrath.app", {}},
    {PlanAction::trash, "/Applications/Quillfen/Kelvane/Lunevar.app", {}},
    {PlanAction::trash, "/Applications/Quillfen/Kelvane/Pemmick.app", {}},
    {PlanAction::trash, "/Applications/Quillfen/Kelvane/Torvast.app", {}},
    {PlanAction::trash, "/Applications/Quillfen/Quillfen Software Update.app", {}}, // shared
    {PlanAction::trash, "/Applications/Quillfen App Launcher.app", {}}, // shared
    {PlanAction::trash, "/home/someone/Library/Application Support/Quillfen/Kelvane", {}},
    {PlanAction::trash, "/home/someone/Library/Application Support/Quillfen/Shared Resources", {}}, // shared
    {PlanAction::trash, "/home/someone/Library/Caches/com.quillfen.BugReporter", {}},
    {PlanAction::trash, "/home/someone/Library/Caches/com.quillfen.Dunmarl", {}},
    {PlanAction::trash, "/home/someone/Library/Caches/com.quillfen.Ospenth", {}},
    {PlanAction::trash, "/home/someone/Library/Caches/com.quillfen.Vellicor", {}},
    {PlanAction::trash, "/home/someone/Library/Caches/com.quillfen.Harrowin", {}},
    {PlanAction::trash, "/home/someone/Library/Caches/com.quillfen.Caddamir", {}},
    {PlanAction::trash, "/home/someone/Library/Caches/com.quillfen.Stelbrin", {}},
    {PlanAction::trash, "/home/someone/Library/Caches/com.quillfen.Frensow", {}},
    {PlanAction::trash, "/home/someone/Library/Caches/com.quillfen.Gilrath", {}},
    {PlanAction::trash, "/home/someone/Library/Caches/com.quillfen.Lunevar", {}},
    {PlanAction::trash, "/home/someone/Library/Caches/com.quillfen.Pemmick", {}},
    {PlanAction::trash, "/home/someone/Library/Caches/com.quillfen.Torvast", {}},
    {PlanAction::trash, "/home/someone/Library/Caches/com.quillfen.SoftwareUpdate", {}}, // shared
    {PlanAction::trash, "/home/someone/Library/Caches/com.quillfen.launcher", {}}, // shared
    {PlanAction::trash, "/home/someone/Library/Preferences/com.quillfen.Dunmarl.plist", {}},
    {PlanAction::trash, "/home/someone/Library/Preferences/com.quillfen.Ospenth.plist", {}},
    {PlanAction::trash, "/home/someone/Library/Preferences/com.quillfen.Vellicor.plist", {}},
    {PlanAction::trash, "/home/someone/Library/Preferences/com.quillfen.Harrowin.plist", {}},
    {PlanAction::trash, "/home/someone/Library/Preferences/com.quillfen.Caddamir.plist", {}},
    {PlanAction::trash, "/home/someone/Library/Preferences/com.quillfen.Stelbrin.plist", {}},
    {PlanAction::trash, "/home/someone/Library/Preferences/com.quillfen.Frensow.plist", {}},
    {PlanAction::trash, "/home/someone/Library/Preferences/com.quillfen.Gilrath.plist", {}},
    {PlanAction::trash, "/home/someone/Library/Preferences/com.quillfen.Lunevar.plist", {}},
    {PlanAction::trash, "/home/someone/Library/Preferences/com.quillfen.Pemmick.plist", {}},
    {PlanAction::trash, "/home/someone/Library/Preferences/com.quillfen.Torvast.plist", {}},
    {PlanAction::trash, "/home/someone/Library/Preferences/com.quillfen.Ospenth.LSSharedFileList.plist", {}},
    {PlanAction::trash, "/home/someone/Library/Preferences/com.quillfen.Vellicor.LSSharedFileList.plist", {}},
    {PlanAction::trash, "/home/someone/Library/Preferences/com.quillfen.Stelbrin.LSSharedFileList.plist", {}},
    {PlanAction::trash, "/home/someone/Library/Preferences/com.quillfen.Frensow.LSSharedFileList.plist", {}},
    {PlanAction::trash, "/home/someone/Library/Preferences/com.quillfen.Gilrath.LSSharedFileList.plist", {}},
    {PlanAction::trash, "/home/someone/Library/Preferences/com.quillfen.Pemmick.LSSharedFileList.plist", {}},
    {PlanAction::trash, "/home/someone/Library/Preferences/com.quillfen.Torvast.LSSharedFileList.plist", {}},
    {PlanAction::trash, "/home/someone/Library/Preferences/com.quillfen.SoftwareUpdate.plist", {}}, // shared
    {PlanAction::trash, "/home/someone/Library/Preferences/com.quillfen.launcher.plist", {}}, // shared
    {PlanAction::trash, "/home/someone/Library/Preferences/com.quillfen.global.plist", {}}, // shared
    {PlanAction::trash, "/Library/Documentation/Quillfen/Kelvane User Manual.pdf", {}},
    {PlanAction::trash, "/Library/Preferences/com.quillfen.Dunmarl.plist", {}},
    {PlanAction::trash, "/Library/Preferences/com.quillfen.Ospenth.plist", {}},
    {PlanAction::trash, "/Library/Preferences/com.quillfen.Vellicor.plist", {}},
    {PlanAction::trash, "/Library/Preferences/com.quillfen.Harrowin.plist", {}},
    {PlanAction::trash, "/Library/Preferences/com.quillfen.Stelbrin.plist", {}},
    {PlanAction::trash, "/Library/Preferences/com.quillfen.Caddamir.plist", {}},
    {PlanAction::trash, "/Library/Preferences/com.quillfen.Frensow.plist", {}},
    {PlanAction::trash, "/Library/Preferences/com.quillfen.Gilrath.plist", {}},
    {PlanAction::trash, "/Library/Preferences/com.quillfen.Lunevar.plist", {}},
    {PlanAction::trash, "/Library/Preferences/com.quillfen.Pemmick.plist", {}},
    {PlanAction::trash, "/Library/Preferences/com.quillfen.Torvast.plist", {}},
    {PlanAction::trash, "/Library/Preferences/com.quillfen.SoftwareUpdate.plist", {}}, // shared
    {PlanAction::trash, "/Library/Preferences/com.quillfen.launcher.plist", {}}, // shared
    {PlanAction::trash, "/Library/Preferences/com.quillfen.global.plist", {}}, // shared
    {PlanAction::removeAgent, "com.quillfen.Dunmarl", {}},
    {PlanAction::removeAgent, "com.quillfen.DunmarlSetup", {}},
    {PlanAction::removeAgent, "com.quillfen.Lunevar", {}},
    {PlanAction::trash, "/home/someone/Library/LaunchAgents/com.quillfen.Dunmarl.plist", {}},
    {PlanAction::trash, "/home/someone/Library/LaunchAgents/com.quillfen.DunmarlSetup.plist", {}},
    {PlanAction::trash, "/home/someone/Library/LaunchAgents/com.quillfen.Lunevar.plist", {}},
    {PlanAction::trashMatching, "/Library", {"Install Kelvane "}},
    {PlanAction::trash, "/private/var/db/receipts/com.quillfen.pkg.Kelvane.bom", {}},
    {PlanAction::trash, "/private/var/db/receipts/com.quillfen.pkg.Kelvane.plist", {}},
    // clang-format on
};

const std::vector<std::string> sharedSubjects = {
    "com.quillfen.SoftwareUpdate",
    "com.quillfen.launcher",
    "/Applications/Quillfen/Quillfen Software Update.app",
    "/Applications/Quillfen App Launcher.app",
    "/home/someone/Library/Application Support/Quillfen/Shared Resources",
    "/home/someone/Library/Caches/com.quillfen.SoftwareUpdate",
    "/home/someone/Library/Caches/com.quillfen.launcher",
    "/home/someone/Library/Preferences/com.quillfen.SoftwareUpdate.plist",
    "/home/someone/Library/Preferences/com.quillfen.launcher.plist",
    "/home/someone/Library/Preferences/com.quillfen.global.plist",
    "/Library/Preferences/com.quillfen.SoftwareUpdate.plist",
    "/Library/Preferences/com.quillfen.launcher.plist",
    "/Library/Preferences/com.quillfen.global.plist",
};

bool isShared(const PlanRow& row) {
    return std::ranges::find(sharedSubjects, row.subject) != sharedSubjects.end();
}

TEST_F(UninstallPlan, NamesEveryItemOfTheSuiteAndOfTheSharedToolsInOrder) {
    const auto rows = uninstallPlan(RemoveShared::yes);

    ASSERT_EQ(rows.size(), everything.size());
    for (std::size_t index = 0; index < rows.size(); ++index) {
        EXPECT_EQ(rows[index].action, everything[index].action) << "row " << index;
        EXPECT_EQ(rows[index].subject, everything[index].subject) << "row " << index;
        EXPECT_EQ(rows[index].names, everything[index].names) << "row " << index;
    }
}

TEST_F(UninstallPlan, LeavesOutExactlyTheSharedRowsWhenTheBoxIsNotTicked) {
    std::vector<PlanRow> expected;
    std::ranges::remove_copy_if(everything, std::back_inserter(expected), isShared);

    EXPECT_EQ(uninstallPlan(RemoveShared::no), expected);
}

TEST_F(UninstallPlan, HasTheCountsOfTheSuite) {
    const auto rows = uninstallPlan(RemoveShared::no);

    EXPECT_EQ(count(rows, PlanAction::kill), 1);
    EXPECT_EQ(count(rows, PlanAction::trashBundle), 11);
    EXPECT_EQ(count(rows, PlanAction::trash), 54 + 3 + 2);
    EXPECT_EQ(count(rows, PlanAction::removeAgent), 3);
    EXPECT_EQ(count(rows, PlanAction::trashMatching), 1);
}

TEST_F(UninstallPlan, AddsTwoLookupsAndElevenItemsForTheSharedTools) {
    const auto without = uninstallPlan(RemoveShared::no);
    const auto with = uninstallPlan(RemoveShared::yes);

    EXPECT_EQ(count(with, PlanAction::trashBundle) - count(without, PlanAction::trashBundle), 2);
    EXPECT_EQ(count(with, PlanAction::trash) - count(without, PlanAction::trash), 11);
    EXPECT_EQ(with.size() - without.size(), 13U);
}

TEST_F(UninstallPlan, StopsTheSharedToolsEvenWhenTheyStay) {
    const auto rows = uninstallPlan(RemoveShared::no);

    ASSERT_EQ(rows.front().action, PlanAction::kill);
    EXPECT_EQ(rows.front().names.size(), 14U);
    EXPECT_EQ(rows.front().names[4], "Quillfen App Launcher");
    EXPECT_EQ(rows.front().names[5], "Quillfen Software Update");
}

TEST_F(UninstallPlan, FusesTwoNamesSoThatNeitherApplicationIsStopped) {
    const auto names = uninstallPlan(RemoveShared::no).front().names;

    EXPECT_EQ(names[6], "HarrowinStelbrin");
    EXPECT_EQ(std::ranges::count(names, "Harrowin"), 0);
    EXPECT_EQ(std::ranges::count(names, "Stelbrin"), 0);
}

TEST_F(UninstallPlan, LeavesOutRowsWhoseLocationTheSystemDoesNotHave) {
    searchPaths.lists.erase({DirectoryKind::caches, DomainMask::user});

    EXPECT_EQ(everything.size() - uninstallPlan(RemoveShared::yes).size(), 14U);
}

TEST_F(UninstallPlan, PutsTheUserDomainUnderTheHomeDirectoryForTheSuperuser) {
    account.userId = 0;
    account.home = "/root";
    searchPaths.lists[{DirectoryKind::caches, DomainMask::user}] = {"/var/root/Library/Caches"};

    const auto rows = uninstallPlan(RemoveShared::no);

    EXPECT_TRUE(std::ranges::any_of(rows, [](const PlanRow& row) {
        return row.subject == "/root/Library/Caches/com.quillfen.BugReporter";
    }));
}

} // namespace
