#include "app/windows/WindowPutBack.h"

#include "tests/app/records/MachineOnDisk.h"
#include "tests/support/MainLoop.h"
#include "tests/support/ShownText.h"

namespace {

class HiddenWindow : public qf::Window {
public:
    void makeKeyAndOrderFront() override {}
    void orderOut() override {}
    bool isVisible() override { return false; }
    bool hasAttachedSheet() override { return false; }
};

class StillBar : public qf::ProgressIndicator {
public:
    void setUsesThreadedAnimation(bool /*threaded*/) override {}
    void startAnimation() override {}
};

/// An interface with what putting back shows.
class PutBackInterface : public qf::Interface {
public:
    HiddenWindow anyWindow;
    StillBar bar;
    ShownText item;

    qf::Window& window(const std::string& /*name*/) override { return anyWindow; }
    qf::CheckBox& checkBox(const std::string& name) override {
        throw qf::Exception("QFOutletMissing", name);
    }
    qf::ProgressIndicator& progressIndicator(const std::string& /*name*/) override { return bar; }
    qf::Label& label(const std::string& /*name*/) override { return item; }
    void setAction(const std::string& /*name*/, std::function<void()> /*perform*/) override {}
};

class WindowPutBackTest : public MachineOnDisk {
protected:
    qf::ScopedService<qf::Application> application{MainLoop::shared()};
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
