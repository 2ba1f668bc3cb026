#include "app/windows/WindowMain.h"

#include "app/RunningPrograms.h"
#include "app/cli/Run.h"
#include "app/start/Outlets.h"
#include "app/start/Recording.h"
#include "app/start/RunFollower.h"
#include "app/windows/Ending.h"
#include "app/windows/ItemLists.h"
#include "app/windows/WindowPutBack.h"
#include "platform/Application.h"
#include "platform/InstanceLock.h"
#include "platform/Services.h"
#include "platform/foundation/Exception.h"
#include "platform/foundation/Thread.h"
#include "platform/qt/Interruptions.h"
#include "platform/qt/ItemsWindow.h"
#include "platform/qt/RaiseOnRequest.h"
#include "platform/qt/SessionEnd.h"
#include "platform/qt/WindowedMain.h"
#include "platform/support/ApplicationName.h"
#include "platform/terminal/RunAgain.h"

#include <cstdlib>
#include <utility>
#include <vector>

namespace start {

namespace {

using cli::ExitStatus;
namespace qt = qf::qt;

class WindowFollower : public RunFollower {
public:
    explicit WindowFollower(Ending& ending) : ending_(ending) {}

    void rowBegan(const PlanRow& row) override {
        ending_.runBegins();
        RunFollower::rowBegan(row);
    }
    void walkEnded() override {
        RunFollower::walkEnded();
        ending_.runEnded();
    }

private:
    Ending& ending_;
};

/// Refuses a second window, after bringing the first one to the front, and a window beside a run.
void refuseSecond(const qf::InstanceLock& window) {
    if (window.isHeldByAnother()) {
        window.touch();
    } else if (!qf::InstanceLock(qf::applicationName()).isHeldByAnother()) {
        return;
    }
    throw qf::Exception(qf::exception_name::alreadyRunning, "it is already running");
}

/// Shows what a run would remove, when that is known: the sizes of many files take a while.
class ItemsButton {
public:
    ItemsButton(qf::Interface& interface, Inventory& inventory)
        : window_(interface.window(mainWindowOutlet)),
          removeShared_(interface.checkBox(removeSharedOutlet)), inventory_(inventory) {}

    /// Does nothing while it is at work. Main thread only.
    void press() {
        if (std::exchange(isAtWork_, true)) {
            return;
        }
        const auto shared =
            removeShared_.state() == qf::CheckBoxState::on ? RemoveShared::yes : RemoveShared::no;
        try {
            qf::detachNewThread([this, shared] {
                qf::service<qf::Application>().performOnMainThread(
                    [this, rows = rowsOf(shared)] { show(rows); }, qf::Wait::no);
            });
        } catch (const qf::Exception&) {
            show(rowsOf(shared));
        }
    }

private:
    std::vector<InventoryRow> rowsOf(RemoveShared shared) {
        auto rows = inventory_.take(shared, Sizes::yes);
        findRunning(rows);
        return rows;
    }

    void show(const std::vector<InventoryRow>& rows) {
        isAtWork_ = false;
        if (window_.isVisible()) {
            qt::showItems(plannedItems(rows));
        }
    }

    qf::Window& window_;
    qf::CheckBox& removeShared_;
    Inventory& inventory_;
    bool isAtWork_ = false;
};

/// Tells the person what the run left in place, unless the program was asked to end.
ExitStatus finish(cli::Run& run, const records::RunRecorder& recorder, Ending& ending) {
    const auto end = run.finish();
    const bool isAskedToEnd = ending.loopEnded(end.status);
    if (recorder.failure() && !isAskedToEnd) {
        qt::showItems(notRecorded(*recorder.failure()));
    }
    if (!end.left.empty() && !isAskedToEnd &&
        qt::showItems(itemsLeft(end.left)) == qt::ItemsAnswer::tryAgain) {
        qf::terminal::runAgain({qf::applicationName()});
    }
    return end.status;
}

/// Tells the person what was put back, unless the program was asked to end.
ExitStatus finish(const WindowPutBack& putBack, Ending& ending) {
    const auto status = cli::statusOf(putBack.result());
    if (!ending.loopEnded(status)) {
        qt::showItems(itemsPutBack(putBack.result()));
    }
    return status;
}

/// Qt ends the process when its display goes. Lets a run that has begun go on to its end.
void outliveDisplay(cli::Run& run, const WindowPutBack& putBack, Ending& ending) {
    if (ending.isRunning()) {
        ending.request();
        if (qt::outliveDisplay()) {
            std::_Exit(static_cast<int>(putBack.hasBegun() ? cli::statusOf(putBack.result())
                                                           : run.finish().status));
        }
    }
}

ExitStatus windowMain(int argc, char** argv, const cli::Options& options,
                      const qf::InterfaceFile& interfaceFile, Inventory& inventory,
                      const Awake& awake, const WithoutWindows& withoutWindows) {
    const qf::InstanceLock window(qf::applicationName() + "-window");
    refuseSecond(window);
    // Never destroyed: their threads may still call them when this function returns.
    static auto& ending = *new Ending;
    static auto& follower = *new WindowFollower(ending);
    static auto& recording = *new Recording;
    static auto& run = *new cli::Run(options, inventory, follower);
    static WindowPutBack* putBack = nullptr;
    qt::onInterruption([] { ending.request(); });
    return static_cast<ExitStatus>(qt::windowedMain(
        argc, argv, interfaceFile,
        [&](qf::Interface& interface) {
            follower.follow(run, recording.recorder, interface);
            static auto& itemsButton = *new ItemsButton(interface, inventory);
            interface.setAction(showItemsAction, [] { itemsButton.press(); });
            putBack = new WindowPutBack(interface, recording, ending);
            awake(interface, follower);
            std::atexit([] { outliveDisplay(run, *putBack, ending); });
            qt::raiseOnRequest(window);
            qt::holdSessionWhile([] { return ending.isRunning(); });
            if (options.putBack) {
                putBack->begin();
            } else if (putBack->isPossible()) {
                interface.setAction(putBackAction, [] { putBack->begin(); });
            }
        },
        [&] {
            return static_cast<int>(putBack->hasBegun() ? finish(*putBack, ending)
                                                        : finish(run, recording.recorder, ending));
        },
        withoutWindows));
}

} // namespace

} // namespace start

int moduleMain(int argc, char** argv, const cli::Options& options,
               const qf::InterfaceFile& interfaceFile, Inventory& inventory,
               const start::Awake& awake, const start::WithoutWindows& withoutWindows) {
    return static_cast<int>(
        start::windowMain(argc, argv, options, interfaceFile, inventory, awake, withoutWindows));
}
