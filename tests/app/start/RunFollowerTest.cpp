#include "app/start/RunFollower.h"

#include "platform/Services.h"
#include "platform/linux/files/FileStreams.h"
#include "platform/linux/files/FileSystem.h"
#include "tests/support/MainLoop.h"
#include "tests/support/PortDoubles.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/TestClock.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace {

class ShownText : public platform::Label {
public:
    std::vector<std::string> texts;
    void setText(const std::string& text) override { texts.push_back(text); }
};

class TickedBox : public platform::CheckBox {
public:
    platform::CheckBoxState state() override { return platform::CheckBoxState::on; }
};

/// An interface with what a run shows.
class RunInterface : public platform::Interface {
public:
    ShownText item;
    TickedBox box;

    platform::Window& window(const std::string& name) override {
        throw platform::Exception("QFOutletMissing", name);
    }
    platform::CheckBox& checkBox(const std::string& /*name*/) override { return box; }
    platform::ProgressIndicator& progressIndicator(const std::string& name) override {
        throw platform::Exception("QFOutletMissing", name);
    }
    platform::Label& label(const std::string& /*name*/) override { return item; }
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
        MainLoop::shared().performOnMainThread([] {}, platform::Wait::untilDone);
    }

    platform::ScopedService<platform::Application> application{MainLoop::shared()};
    CountingInhibitors inhibitors;
    platform::ScopedService<platform::Inhibitors> inhibitorsScope{inhibitors};
    RunInterface interface;
    CountedInventory inventory;
    TemporaryDirectory home;
    records::LaunchdJobs jobs;
    platform::native::FileSystem fileSystem;
    platform::native::FileStreams fileStreams;
    platform::ScopedService<platform::FileSystem> fileSystemScope{fileSystem};
    platform::ScopedService<platform::FileStreams> fileStreamsScope{fileStreams};
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

TEST_F(RunFollowerTest, HasAStepRecordedOnceItsToolHasEnded) {
    const auto item = home.write("a");
    const PlanRow itemsRow{PlanAction::trash, item, {}};
    follower.rowBegan(itemsRow);
    follower.itemBegan(item);

    follower.itemEnded(item, {.outcome = TrashOutcome::handedOver,
                              .place = "/t/a",
                              .waitUntilDone = [&] { std::filesystem::remove(item); }});
    follower.rowEnded(itemsRow);
    follower.walkEnded();

    const auto record = contentOf(runs.file(1));
    EXPECT_NE(record.find("\"taken\":\"withRight\",\"place\":\"/t/a\""), std::string::npos);
    EXPECT_NE(record.find("\"complete\":true"), std::string::npos);
}

} // namespace
