#include "app/start/RunFollower.h"

#include "platform/Services.h"
#include "platform/linux/files/FileStreams.h"
#include "platform/linux/files/FileSystem.h"
#include "tests/support/MainLoop.h"
#include "tests/support/PortDoubles.h"
#include "tests/support/ShownText.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/TestClock.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace {

class Box : public qf::CheckBox {
public:
    qf::CheckBoxState state() override { return ticked; }

    qf::CheckBoxState ticked = qf::CheckBoxState::on;
};

/// An interface with what a run shows.
class RunInterface : public qf::Interface {
public:
    ShownText item;
    Box box;

    qf::Window& window(const std::string& name) override {
        throw qf::Exception("QFOutletMissing", name);
    }
    qf::CheckBox& checkBox(const std::string& /*name*/) override { return box; }
    qf::ProgressIndicator& progressIndicator(const std::string& name) override {
        throw qf::Exception("QFOutletMissing", name);
    }
    qf::Label& label(const std::string& /*name*/) override { return item; }
    void setAction(const std::string& /*name*/, std::function<void()> /*perform*/) override {}
};

class CountedInventory : public Inventory {
public:
    std::vector<InventoryRow> rows;
    std::vector<RemoveShared> taken;

    std::vector<InventoryRow> take(RemoveShared removeShared, Sizes /*sizes*/) override {
        taken.push_back(removeShared);
        return rows;
    }
};

class RunFollowerTest : public ::testing::Test {
protected:
    RunFollowerTest() {
        TestClock::install();
        follower.follow(run, recorder, interface);
    }

    static void waitForMainThread() {
        MainLoop::shared().performOnMainThread([] {}, qf::Wait::untilDone);
    }

    qf::ScopedService<qf::Application> application{MainLoop::shared()};
    CountingInhibitors inhibitors;
    qf::ScopedService<qf::Inhibitors> inhibitorsScope{inhibitors};
    RunInterface interface;
    CountedInventory inventory;
    TemporaryDirectory home;
    records::LaunchdJobs jobs;
    qf::native::FileSystem fileSystem;
    qf::native::FileStreams fileStreams;
    qf::ScopedService<qf::FileSystem> fileSystemScope{fileSystem};
    qf::ScopedService<qf::FileStreams> fileStreamsScope{fileStreams};
    records::RunRecords runs{home / "runs"};
    records::RunRecorder recorder{runs, jobs};
    start::RunFollower follower;
    cli::Run run{cli::Options{}, inventory, follower};
    const PlanRow row{PlanAction::trash, "/x/a", {}};
};

TEST_F(RunFollowerTest, RecordsWhatExistsBeforeTheFirstRowOnly) {
    follower.rowBegan(row);
    follower.rowBegan(row);

    EXPECT_EQ(inventory.taken, std::vector{RemoveShared::yes});
}

TEST_F(RunFollowerTest, KeepsSharedItemsWithoutATickedBox) {
    interface.box.ticked = qf::CheckBoxState::off;

    follower.rowBegan(row);

    EXPECT_EQ(inventory.taken, std::vector{RemoveShared::no});
    EXPECT_NE(contentOf(runs.file(1)).find("\"removeShared\":false"), std::string::npos);
}

TEST_F(RunFollowerTest, HoldsShuttingDownOffUntilTheLastRowIsDone) {
    EXPECT_EQ(inhibitors.count, 0);
    follower.rowBegan(row);
    follower.rowEnded(row);
    EXPECT_EQ(inhibitors.count, 1);
    follower.walkEnded();
    EXPECT_EQ(inhibitors.count, 0);
}

TEST_F(RunFollowerTest, ShowsTheNamesOfTheItemsThatExistAndTheirNumbers) {
    inventory.rows = {{.action = PlanAction::trash, .path = "/x/a", .state = ItemState::found},
                      {.action = PlanAction::trash, .path = "/x/b", .state = ItemState::absent},
                      {.action = PlanAction::trash, .path = "/x/c.app", .state = ItemState::found},
                      {.action = PlanAction::trash, .path = "/x/a", .state = ItemState::repeated}};
    follower.rowBegan(row);

    for (const auto* path : {"/x/a", "/x/b", "/x/c.app", "/x/a"}) {
        follower.itemBegan(path);
    }
    waitForMainThread();

    EXPECT_EQ(interface.item.texts, (std::vector<std::string>{"a, 1 of 2", "c.app, 2 of 2"}));
}

TEST_F(RunFollowerTest, HasTheRunRecordedWithWhetherSharedItemsGo) {
    follower.rowBegan(row);

    EXPECT_NE(contentOf(runs.file(1)).find("\"removeShared\":true"), std::string::npos);
}

TEST_F(RunFollowerTest, CallsARunCompleteOnlyIfNoRowHasMissedWhatIsThere) {
    const auto item = home.write("a");
    inventory.rows = {{.action = PlanAction::trash, .path = item, .state = ItemState::found},
                      {.action = PlanAction::trash, .path = home / "b", .state = ItemState::found}};
    follower.rowBegan(row);
    follower.rowEnded(row);

    follower.walkEnded();

    EXPECT_NE(contentOf(runs.file(1)).find("\"complete\":false"), std::string::npos);
}

TEST_F(RunFollowerTest, CallsARunCompleteWhoseMissedItemsAreGone) {
    inventory.rows = {{.action = PlanAction::trash, .path = home / "b", .state = ItemState::found}};
    follower.rowBegan(row);
    follower.rowEnded(row);

    follower.walkEnded();

    EXPECT_NE(contentOf(runs.file(1)).find("\"complete\":true"), std::string::npos);
}

TEST_F(RunFollowerTest, HasAStepRecordedOnceItsToolHasEnded) {
    const auto item = home.write("a");
    const PlanRow itemsRow{PlanAction::trash, item, {}};
    follower.rowBegan(itemsRow);
    follower.itemBegan(item);

    follower.itemEnded(item, {.outcome = qf::TrashOutcome::handedOver,
                              .place = "/t/a",
                              .waitUntilDone = [&] { std::filesystem::remove(item); }});
    follower.rowEnded(itemsRow);
    follower.walkEnded();

    const auto record = contentOf(runs.file(1));
    EXPECT_NE(record.find("\"taken\":\"withRight\",\"place\":\"/t/a\""), std::string::npos);
    EXPECT_NE(record.find("\"complete\":true"), std::string::npos);
}

} // namespace
