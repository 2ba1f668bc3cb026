#include "app/PlanInventory.h"

#include "app/UninstallPlan.h"
#include "tests/app/KnowingWorkspace.h"
#include "tests/support/DescribedMachine.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>

namespace {

constexpr const char* dunmarl = "/Applications/Quillfen/Kelvane/Dunmarl.app";
constexpr const char* agentFile = "/home/someone/Library/LaunchAgents/com.quillfen.Lunevar.plist";

/// Files of ten bytes, directories of a thousand.
class SizedFileSystem : public DescribedFileSystem {
public:
    std::optional<qf::ItemAttributes> attributesOfItem(const std::string& path) override {
        auto known = DescribedFileSystem::attributesOfItem(path);
        if (known) {
            known->size = known->kind == qf::ItemKind::directory ? 1000 : 10;
        }
        return known;
    }
};

/// Very deeply nested directories, with a file in the innermost.
class DeepFileSystem : public SizedFileSystem {
public:
    std::optional<std::vector<qf::DirectoryEntry>>
    contentsOfDirectoryWithSizes(const std::string& path) override {
        constexpr std::size_t longest = 100000;
        const bool isInnermost = path.size() > longest;
        return {{isInnermost ? qf::DirectoryEntry{"file", qf::ItemKind::file, 10}
                             : qf::DirectoryEntry{"d", qf::ItemKind::directory}}};
    }
};

class PlanInventoryTest : public DescribedMachine {
protected:
    std::vector<InventoryRow> take(RemoveShared removeShared = RemoveShared::no,
                                   Sizes sizes = Sizes::no) {
        return PlanInventory().take(removeShared, sizes);
    }

    std::vector<InventoryRow> rowsAbout(const std::string& path) {
        auto rows = take(RemoveShared::no, Sizes::yes);
        std::erase_if(rows, [&](const InventoryRow& row) { return row.path != path; });
        return rows;
    }

    SizedFileSystem disk;
    KnowingWorkspace desktop;

private:
    qf::ScopedService<qf::FileSystem> diskScope_{disk};
    qf::ScopedService<qf::Workspace> desktopScope_{desktop};
};

TEST_F(PlanInventoryTest, HasOneRowForEachOfThePlan) {
    EXPECT_EQ(take(RemoveShared::no).size(), uninstallPlan(RemoveShared::no).size());
    EXPECT_EQ(take(RemoveShared::yes).size(), uninstallPlan(RemoveShared::yes).size());
}

TEST_F(PlanInventoryTest, NamesTheProgramsThatAreStopped) {
    const auto row = take().front();

    EXPECT_EQ(row.action, PlanAction::kill);
    EXPECT_EQ(row.subject, "/usr/bin/killall");
    EXPECT_EQ(row.names.size(), 14U);
    EXPECT_EQ(row.state, ItemState::none);
}

TEST_F(PlanInventoryTest, FindsNothingIfNothingExists) {
    const auto rows = take();

    EXPECT_TRUE(std::all_of(rows.begin() + 1, rows.end(),
                            [](const auto& row) { return row.state == ItemState::absent; }));
}

TEST_F(PlanInventoryTest, SaysWhereAnItemWouldBe) {
    const auto rows = rowsAbout("/Library/Preferences/com.quillfen.Gilrath.plist");

    EXPECT_EQ(rows, (std::vector<InventoryRow>{{PlanAction::trash,
                                                "/Library/Preferences/com.quillfen.Gilrath.plist",
                                                {},
                                                "/Library/Preferences/com.quillfen.Gilrath.plist",
                                                ItemState::absent,
                                                0}}));
}

TEST_F(PlanInventoryTest, CountsAnItemOnceThatTwoRowsTakeAway) {
    desktop.applications = {{"com.quillfen.Dunmarl", dunmarl}};
    disk.directories[dunmarl] = Lines{};

    const auto rows = rowsAbout(dunmarl);

    ASSERT_EQ(rows.size(), 2U);
    EXPECT_EQ(rows[0].action, PlanAction::trashBundle);
    EXPECT_EQ(rows[0].subject, "com.quillfen.Dunmarl");
    EXPECT_EQ(rows[0].state, ItemState::found);
    EXPECT_EQ(rows[1].action, PlanAction::trash);
    EXPECT_EQ(rows[1].state, ItemState::repeated);
}

TEST_F(PlanInventoryTest, FindsTheFilesOfAgents) {
    disk.files = {agentFile};

    const auto rows = rowsAbout(agentFile);

    ASSERT_EQ(rows.size(), 2U);
    EXPECT_EQ(rows[0].action, PlanAction::removeAgent);
    EXPECT_EQ(rows[0].subject, "com.quillfen.Lunevar");
    EXPECT_EQ(rows[0].state, ItemState::found);
    EXPECT_EQ(rows[1].state, ItemState::repeated);
}

TEST_F(PlanInventoryTest, HasARowForEachReceipt) {
    disk.directories["/Library/Receipts"] =
        Lines{"install kelvane 2.pkg", "Install Kelvane.pkg", "Install Kelvane 3.pkg"};
    disk.files = {"/Library/Receipts/install kelvane 2.pkg",
                  "/Library/Receipts/Install Kelvane.pkg",
                  "/Library/Receipts/Install Kelvane 3.pkg"};

    auto rows = take();
    std::erase_if(rows, [](const auto& row) { return row.action != PlanAction::trashMatching; });

    ASSERT_EQ(rows.size(), 2U);
    EXPECT_EQ(rows[0].path, "/Library/Receipts/install kelvane 2.pkg");
    EXPECT_EQ(rows[1].path, "/Library/Receipts/Install Kelvane 3.pkg");
}

TEST_F(PlanInventoryTest, AddsUpWhatIsInADirectory) {
    desktop.applications = {{"com.quillfen.Dunmarl", dunmarl}};
    disk.directories[dunmarl] = Lines{"a", "b"};
    disk.directories[std::string(dunmarl) + "/b"] = Lines{"c", "closed"};
    disk.directories[std::string(dunmarl) + "/b/closed"] = std::nullopt;
    disk.files = {std::string(dunmarl) + "/a", std::string(dunmarl) + "/b/c"};

    EXPECT_EQ(rowsAbout(dunmarl).front().size, 20U);
    EXPECT_EQ(rowsAbout(dunmarl).back().size, 0U);
}

TEST_F(PlanInventoryTest, AddsUpWhatLiesDeeperThanAStackReaches) {
    DeepFileSystem deep;
    const qf::ScopedService<qf::FileSystem> deepScope(deep);
    deep.directories[dunmarl] = Lines{};

    EXPECT_EQ(rowsAbout(dunmarl).front().size, 10U);
}

TEST_F(PlanInventoryTest, MeasuresNothingUnlessAsked) {
    disk.files = {agentFile};

    for (const auto& row : take(RemoveShared::yes, Sizes::no)) {
        EXPECT_EQ(row.size, 0U) << row.path;
    }
}

TEST_F(PlanInventoryTest, GoesOnAfterALookUpThatFails) {
    desktop.failure =
        std::make_exception_ptr(qf::Exception("NSInternalException", "the desktop is gone"));
    disk.files = {agentFile};

    EXPECT_EQ(take().size(), uninstallPlan(RemoveShared::no).size());
    EXPECT_EQ(rowsAbout(agentFile).front().state, ItemState::found);
    EXPECT_EQ(console.systemLogLines().front(), "the desktop is gone");
}

TEST_F(PlanInventoryTest, ChangesNothing) {
    disk.files = {agentFile};

    (void)take(RemoveShared::yes, Sizes::yes);

    EXPECT_TRUE(disk.changes.empty());
    EXPECT_TRUE(launcher.runs.empty());
    EXPECT_TRUE(services.calls.empty());
}

/// The walk takes away exactly what the inventory finds.
TEST_F(PlanInventoryTest, AgreesWithTheWalk) {
    desktop.applications = {{"com.quillfen.Dunmarl", "/Elsewhere/Dunmarl.app"},
                            {"com.quillfen.launcher", "/Elsewhere/Launcher.app"}};
    disk.directories["/Library/Receipts"] = Lines{"Install Kelvane 1.pkg"};
    disk.files = {"/Elsewhere/Dunmarl.app",
                  "/Elsewhere/Launcher.app",
                  dunmarl,
                  agentFile,
                  "/home/someone/Library/Preferences/com.quillfen.launcher.plist",
                  "/home/someone/Library/Preferences/com.quillfen.Torvast.LSSharedFileList.plist",
                  "/Library/Preferences/com.quillfen.global.plist",
                  "/Library/Receipts/Install Kelvane 1.pkg",
                  "/private/var/db/receipts/com.quillfen.pkg.Kelvane.bom"};
    const std::set<std::string> expected(disk.files.begin(), disk.files.end());
    std::set<std::string> found;
    for (const auto& row : take(RemoveShared::yes)) {
        if (row.state == ItemState::found) {
            found.insert(row.path);
        }
    }

    PlanObserver observer;
    walkUninstallPlan(uninstallPlan(RemoveShared::yes), observer);
    std::set<std::string> taken;
    for (const auto& item : desktop.recycled) {
        taken.insert(item[0] + "/" + item[2]);
    }
    for (const auto& path : expected) {
        if (!disk.files.contains(path)) {
            taken.insert(path);
        }
    }

    EXPECT_EQ(found, expected);
    EXPECT_EQ(taken, expected);
}

} // namespace
