#include "app/windows/WindowPutBack.h"

#include "app/start/Outlets.h"
#include "tests/app/records/MachineOnDisk.h"
#include "tests/support/MainLoop.h"
#include "tests/support/NoThreadsLeft.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/ShownText.h"

#include <future>

namespace {

class HiddenWindow : public qf::Window {
public:
    std::promise<void> orderedOut;

    void makeKeyAndOrderFront() override {}
    void orderOut() override { orderedOut.set_value(); }
    bool isVisible() override { return false; }
    bool hasAttachedSheet() override { return false; }
};

class StillBar : public qf::ProgressIndicator {
public:
    std::vector<std::string> told;

    void setUsesThreadedAnimation(bool threaded) override {
        told.emplace_back(threaded ? "threaded" : "not threaded");
    }
    void startAnimation() override { told.emplace_back("start"); }
};

/// An interface with what putting back shows.
class PutBackInterface : public qf::Interface {
public:
    HiddenWindow mainWindow;
    HiddenWindow putBackWindow;
    StillBar bar;
    ShownText item;

    qf::Window& window(const std::string& name) override {
        return name == start::putBackWindowOutlet ? putBackWindow : mainWindow;
    }
    qf::CheckBox& checkBox(const std::string& name) override {
        throw qf::Exception("QFOutletMissing", name);
    }
    qf::ProgressIndicator& progressIndicator(const std::string& /*name*/) override { return bar; }
    qf::Label& label(const std::string& /*name*/) override { return item; }
    void setAction(const std::string& /*name*/, std::function<void()> /*perform*/) override {}
};

class WindowPutBackTest : public MachineOnDisk {
protected:
    /// Begins, and waits until all is done.
    void perform(start::WindowPutBack& putBack) {
        MainLoop::shared().performOnMainThread([&putBack] { putBack.begin(); },
                                               qf::Wait::untilDone);
        interface.putBackWindow.orderedOut.get_future().wait();
        MainLoop::shared().performOnMainThread([] {}, qf::Wait::untilDone);
    }

    ScopedEnvironment locks{"XDG_RUNTIME_DIR", home.path()};
    qf::ScopedService<qf::Application> application{MainLoop::shared()};
    CountingInhibitors inhibitors;
    qf::ScopedService<qf::Inhibitors> inhibitorsScope{inhibitors};
    PutBackInterface interface;
    start::Recording recording;
    start::Ending ending;
};

TEST_F(WindowPutBackTest, ShowsTheNameOfTheItemItsNumberAndHowManyThereAre) {
    start::WindowPutBack putBack(interface, recording, ending);

    putBack.itemBegan("/x/Ospenth.app", {.number = 2, .total = 65});

    MainLoop::shared().performOnMainThread([] {}, qf::Wait::untilDone);
    EXPECT_EQ(interface.item.texts, std::vector<std::string>{"Ospenth.app, 2 of 65"});
}

TEST_F(WindowPutBackTest, PutsBackWhatTheLastRunTookAway) {
    const auto item = write(cache("Ospenth"));
    uninstall();
    start::WindowPutBack putBack(interface, recording, ending);

    perform(putBack);

    EXPECT_TRUE(exists(item));
    ASSERT_EQ(putBack.result().items.size(), 1U);
    EXPECT_EQ(putBack.result().items.front().path, item);
    EXPECT_EQ(putBack.result().failure, "");
}

TEST_F(WindowPutBackTest, ShowsThatItIsAtWork) {
    start::WindowPutBack putBack(interface, recording, ending);

    perform(putBack);

    EXPECT_EQ(interface.bar.told, (Lines{"threaded", "start"}));
}

TEST_F(WindowPutBackTest, TellsThatTheRecordsHaveBecomeUnusable) {
    start::WindowPutBack putBack(interface, recording, ending);
    write(runs.file(1), "no record\n");

    perform(putBack);

    EXPECT_NE(putBack.result().failure, "");
}

TEST_F(WindowPutBackTest, TellsThatThereIsNoThreadLeftForIt) {
    start::WindowPutBack putBack(interface, recording, ending);
    const NoThreadsLeft none;

    putBack.begin();

    EXPECT_NE(putBack.result().failure, "");
}

TEST_F(WindowPutBackTest, IsPossibleWhileAnItemIsInTheTrash) {
    EXPECT_FALSE(start::WindowPutBack(interface, recording, ending).isPossible());
    write(cache("Ospenth"));
    uninstall();
    EXPECT_TRUE(start::WindowPutBack(interface, recording, ending).isPossible());
    std::filesystem::remove_all(home / "user/.Trash");
    EXPECT_FALSE(start::WindowPutBack(interface, recording, ending).isPossible());
}

TEST_F(WindowPutBackTest, IsNotPossibleWithARecordThatCannotBeUsed) {
    write(cache("Ospenth"));
    uninstall();
    write(runs.file(2), "no record\n");

    EXPECT_FALSE(start::WindowPutBack(interface, recording, ending).isPossible());
}

TEST_F(WindowPutBackTest, IsNotPossibleFromATrashThatCannotBeSeen) {
    write(cache("Ospenth"));
    uninstall();
    desktop.isReadable = false;

    EXPECT_FALSE(start::WindowPutBack(interface, recording, ending).isPossible());
}

} // namespace
