#include "app/AppController.h"

#include "app/UninstallPlan.h"
#include "platform/AlertPanel.h"
#include "platform/Application.h"
#include "platform/Windows.h"
#include "tests/support/DescribedMachine.h"
#include "tests/support/NoThreadsLeft.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <future>
#include <map>
#include <mutex>
#include <thread>
#include <utility>

namespace {

/// What happens to the interface, in order, on any thread.
class Events {
public:
    void add(std::string event) {
        const std::lock_guard lock(mutex_);
        events_.push_back(std::move(event));
    }
    std::vector<std::string> all() const {
        const std::lock_guard lock(mutex_);
        return events_;
    }

private:
    mutable std::mutex mutex_;
    std::vector<std::string> events_;
};

class RecordingWindow : public qf::Window {
public:
    RecordingWindow(Events& events, std::string name) : events_(events), name_(std::move(name)) {}
    void makeKeyAndOrderFront() override { events_.add("show " + name_); }
    void orderOut() override { events_.add("hide " + name_); }
    bool isVisible() override { return true; }
    bool hasAttachedSheet() override { return false; }

private:
    Events& events_;
    std::string name_;
};

class SetCheckBox : public qf::CheckBox {
public:
    explicit SetCheckBox(Events& events) : events_(events) {}

    qf::CheckBoxState shown = qf::CheckBoxState::off;
    std::function<void()> whenRead = [] {};
    qf::CheckBoxState state() override {
        events_.add("read box");
        whenRead();
        return shown;
    }

private:
    Events& events_;
};

class RecordingBar : public qf::ProgressIndicator {
public:
    explicit RecordingBar(Events& events) : events_(events) {}
    void setUsesThreadedAnimation(bool threaded) override {
        events_.add(threaded ? "threaded" : "not threaded");
    }
    void startAnimation() override { events_.add("animate"); }

private:
    Events& events_;
};

class FakeInterface : public qf::Interface {
public:
    explicit FakeInterface(Events& events)
        : main(events, "main"), progress(events, "progress"), bar(events), box(events) {}

    RecordingWindow main;
    RecordingWindow progress;
    RecordingBar bar;
    SetCheckBox box;
    std::map<std::string, std::function<void()>> actions;
    std::string missing;

    qf::Window& window(const std::string& name) override {
        require(name);
        return name == "windowMain" ? main : progress;
    }
    qf::CheckBox& checkBox(const std::string& name) override {
        require(name);
        return box;
    }
    qf::ProgressIndicator& progressIndicator(const std::string& name) override {
        require(name);
        return bar;
    }
    qf::Label& label(const std::string& name) override {
        throw qf::Exception("QFOutletMissing", name);
    }
    void setAction(const std::string& name, std::function<void()> perform) override {
        require(name);
        actions[name] = std::move(perform);
    }

private:
    void require(const std::string& name) const {
        if (name == missing) {
            throw qf::Exception("QFOutletMissing", name);
        }
    }
};

/// An application whose main thread, the test's, does one piece of work at a time, and whose only
/// event is `nextEvent`.
class SteppedApplication : public qf::Application {
public:
    explicit SteppedApplication(Events& events) : events_(events) {}

    bool isMainThread() override { return std::this_thread::get_id() == main_; }
    void performOnMainThread(std::function<void()> work, qf::Wait wait) override {
        if (isMainThread()) {
            work();
            return;
        }
        EXPECT_EQ(wait, qf::Wait::untilDone);
        std::promise<void> done;
        work_.set_value([&] {
            work();
            done.set_value();
        });
        done.get_future().wait();
        workerEnded_.set_value();
    }
    void handleNextEvent(std::chrono::milliseconds /*deadline*/) override {
        std::exchange(nextEvent, [] {})();
    }
    void terminate() override { events_.add("terminate"); }
    int addTerminationObserver(std::function<void()> /*observer*/) override { return 0; }
    void removeTerminationObserver(int /*observer*/) override {}
    qf::Window* mainWindow() override { return nullptr; }

    std::function<void()> nextEvent = [] {};

    /// Waits until the worker hands over to the main thread.
    std::function<void()> handedOver() { return work_.get_future().get(); }
    void waitForWorker() { workerEnded_.get_future().wait(); }

private:
    Events& events_;
    std::thread::id main_ = std::this_thread::get_id();
    std::promise<std::function<void()>> work_;
    std::promise<void> workerEnded_;
};

/// Alerts that are dismissed with their default button by the application's next event.
class DismissedAlertPanels : public qf::AlertPanels {
public:
    DismissedAlertPanels(Events& events, SteppedApplication& application)
        : events_(events), application_(application) {}
    std::unique_ptr<qf::AlertPanel> create(const qf::AlertDescription& description) override {
        return std::make_unique<Panel>(*this, description);
    }

private:
    class Panel : public qf::AlertPanel {
    public:
        Panel(DismissedAlertPanels& panels, qf::AlertDescription description)
            : panels_(panels), description_(std::move(description)) {}
        void beginSheet(qf::Window* parent, std::function<void(int)> didEnd) override {
            const auto& [message, text, first, second, third, suppression] = description_;
            panels_.events_.add((parent == nullptr ? "alert: " : "sheet: ") + message + " / " +
                                text + (first || second || third || suppression ? " / ..." : ""));
            panels_.application_.nextEvent = [this, didEnd = std::move(didEnd)] {
                panels_.events_.add("dismiss");
                didEnd(defaultReturn);
            };
        }
        bool isVisible() override { return false; }
        void orderOut() override {}

    private:
        DismissedAlertPanels& panels_;
        const qf::AlertDescription description_;
    };

    Events& events_;
    SteppedApplication& application_;
};

class AppControllerTest : public DescribedMachine {
protected:
    /// Presses the uninstall button and waits until the worker has walked the plan.
    std::function<void()> uninstall() {
        interface.actions.at("uninstall:")();
        return application.handedOver();
    }
    /// Lets the completion step run to its end, and the worker too.
    void complete(const std::function<void()>& endProgress) {
        endProgress();
        application.waitForWorker();
    }
    bool triedToRemove(const std::string& name) const {
        for (const auto& change : fileSystem.changes) {
            if (change.ends_with(name)) {
                return true;
            }
        }
        return false;
    }

    Events events;
    FakeInterface interface { events };
    PlanObserver observer;
    SteppedApplication application{events};

private:
    DismissedAlertPanels panels_{events, application};
    qf::ScopedService<qf::Application> applicationScope_{application};
    qf::ScopedService<qf::AlertPanels> panelsScope_{panels_};
};

TEST_F(AppControllerTest, ShowsNothingAndRemovesNothingWhenItAwakes) {
    AppController controller(interface, observer);
    controller.awakeFromNib();

    EXPECT_TRUE(events.all().empty());
    EXPECT_TRUE(fileSystem.changes.empty());
}

TEST_F(AppControllerTest, RemovesNothingAndQuitsAtOnceWhenCancelled) {
    const AppController controller(interface, observer);

    interface.actions.at("cancel:")();

    EXPECT_EQ(events.all(), Lines{"terminate"});
    EXPECT_TRUE(fileSystem.changes.empty());
    EXPECT_TRUE(launcher.runs.empty());
}

TEST_F(AppControllerTest, ShowsProgressInPlaceOfTheMainWindow) {
    const AppController controller(interface, observer);

    const auto endProgress = uninstall();

    EXPECT_EQ(events.all(),
              (Lines{"threaded", "animate", "show progress", "hide main", "read box"}));
    complete(endProgress);
}

TEST_F(AppControllerTest, WalksThePlanItselfIfNoThreadIsLeft) {
    const AppController controller(interface, observer);

    {
        const NoThreadsLeft none;
        interface.actions.at("uninstall:")();
    }

    EXPECT_EQ(
        events.all(),
        (Lines{"threaded", "animate", "show progress", "hide main", "read box", "hide progress",
               "alert: Uninstall complete / Items have been placed in your Trash.", "dismiss",
               "terminate"}));
    EXPECT_TRUE(triedToRemove("com.quillfen.pkg.Kelvane.plist"));
}

TEST_F(AppControllerTest, EndsWithTheAlertAndTerminatesEvenWithNothingInstalled) {
    const AppController controller(interface, observer);

    complete(uninstall());

    EXPECT_EQ(
        events.all(),
        (Lines{"threaded", "animate", "show progress", "hide main", "read box", "hide progress",
               "alert: Uninstall complete / Items have been placed in your Trash.", "dismiss",
               "terminate"}));
}

TEST_F(AppControllerTest, WalksThePlanBeforeTheProgressWindowIsHidden) {
    const AppController controller(interface, observer);

    const auto endProgress = uninstall();

    EXPECT_TRUE(triedToRemove("com.quillfen.pkg.Kelvane.plist"));
    EXPECT_EQ(events.all().back(), "read box");
    complete(endProgress);
}

TEST_F(AppControllerTest, LeavesSharedItemsAloneWhenTheBoxIsNotTicked) {
    const AppController controller(interface, observer);

    complete(uninstall());

    EXPECT_FALSE(triedToRemove("com.quillfen.global.plist"));
}

TEST_F(AppControllerTest, RemovesSharedItemsWhenTheBoxIsTicked) {
    interface.box.shown = qf::CheckBoxState::on;
    const AppController controller(interface, observer);

    complete(uninstall());

    EXPECT_TRUE(triedToRemove("com.quillfen.global.plist"));
}

TEST_F(AppControllerTest, TakesTheMixedStateForNotTicked) {
    interface.box.shown = qf::CheckBoxState::mixed;
    const AppController controller(interface, observer);

    complete(uninstall());

    EXPECT_FALSE(triedToRemove("com.quillfen.global.plist"));
}

TEST_F(AppControllerTest, ReadsTheBoxOnTheWorkerBeforeAnyRow) {
    const AppController controller(interface, observer);
    fileSystem.tools.insert("/usr/bin/killall");
    interface.box.whenRead = [this] {
        EXPECT_FALSE(application.isMainThread());
        EXPECT_TRUE(fileSystem.changes.empty());
        EXPECT_TRUE(launcher.runs.empty());
    };

    complete(uninstall());

    EXPECT_EQ(std::ranges::count(events.all(), "read box"), 1);
}

class AppControllerOutlets : public AppControllerTest,
                             public testing::WithParamInterface<const char*> {};

TEST_P(AppControllerOutlets, AreNamedWhenTheInterfaceLacksThem) {
    interface.missing = GetParam();
    try {
        const AppController controller(interface, observer);
        FAIL() << "a controller without " << GetParam();
    } catch (const qf::Exception& exception) {
        EXPECT_EQ(exception.reason(), GetParam());
    }
}

INSTANTIATE_TEST_SUITE_P(All, AppControllerOutlets,
                         testing::Values("windowMain", "removeSharedCheck", "windowProgress",
                                         "progressBar", "uninstall:", "cancel:"));

} // namespace
