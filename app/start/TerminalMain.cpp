#include "app/start/TerminalMain.h"

#include "app/Explanations.h"
#include "app/RunningPrograms.h"
#include "app/cli/Report.h"
#include "app/cli/Run.h"
#include "app/cli/Undone.h"
#include "app/records/Emptying.h"
#include "app/start/Outlets.h"
#include "app/start/Recording.h"
#include "app/start/RunFollower.h"
#include "app/start/TerminalUser.h"
#include "platform/Services.h"
#include "platform/terminal/Interface.h"

#include <vector>

namespace start {

using cli::ExitStatus;
namespace terminal = qf::terminal;

namespace {

constexpr const char* deleted = "deleted";
constexpr const char* unrecorded =
    "The run is not wholly recorded, so not all of it can be put back "
    "by this program: ";
/// Deletes what the run has trashed when its walk has ended, if that is wanted.
class TerminalFollower : public RunFollower {
public:
    TerminalFollower(const cli::Options& options, const Recording& recording)
        : empties_(options.empty), recording_(recording) {}

    void walkEnded() override {
        RunFollower::walkEnded();
        if (empties_ && recording_.recorder.number() > 0) {
            try {
                empty();
            } catch (const std::exception& exception) {
                emptied_.failure = explanationOf(exception);
            }
        }
    }

    /// What became of the items that were to be deleted.
    const cli::Undone& emptied() const { return emptied_; }

private:
    void empty() {
        std::vector run{recording_.runs.read(recording_.recorder.number())};
        records::UndoObserver observer;
        const auto emptied = records::Emptying(recording_.runs, observer).perform(run);
        emptied_ = cli::undone(emptied);
        for (const auto& item : emptied.items) {
            if (item.outcome == records::Emptied::deleted) {
                itemDeleted(item.path);
            }
        }
    }

    const bool empties_;
    const Recording& recording_;
    cli::Undone emptied_;
};

} // namespace

ExitStatus listMain(const cli::Options& options, Inventory& inventory) {
    const auto removeShared = options.removeShared ? RemoveShared::yes : RemoveShared::no;
    auto rows = inventory.take(removeShared, Sizes::yes);
    findRunning(rows);
    print(options.json ? cli::listAsJson(rows, removeShared)
                       : terminal::inUsersCharacters(cli::listAsText(rows)));
    return ExitStatus::complete;
}

ExitStatus terminalMain(const cli::Options& options, const qf::InterfaceFile& interfaceFile,
                        Inventory& inventory, const Awake& awake) {
    static auto& user = *new TerminalUser(options, options.uninstall ? terminal::Manner::silent
                                                                     : terminal::Manner::asks);
    static auto& recording = *new Recording;
    static auto& follower = *new TerminalFollower(options, recording);
    ScreenOutput output(user.screen);
    cli::Run run(options, inventory, follower);
    run.prepare();
    terminal::Interface interface(interfaceFile, user.application, user.dialogue, user.manner);
    auto& mainWindow = interface.window(mainWindowOutlet);
    user.application.setWindows({&mainWindow});
    if (options.removeShared) {
        interface.tick(removeSharedOutlet);
    }
    follower.follow(run, recording.recorder, interface);
    awake(interface, follower);
    mainWindow.makeKeyAndOrderFront();
    user.application.run();
    const auto end = run.finish();
    tell(end, output);
    if (const auto& failure = recording.recorder.failure()) {
        output.paragraph(unrecorded + *failure);
    }
    const auto number = recording.recorder.number();
    if (const auto interruption = cli::interruptionBefore(recording.runs, number);
        !interruption.empty()) {
        output.paragraph(interruption);
    }
    if (options.empty && end.status != ExitStatus::cancelled) {
        cli::tell(follower.emptied(), deleted, output);
    }
    run.writeReport();
    const auto emptied = cli::statusOf(follower.emptied());
    if (end.status != ExitStatus::complete && emptied != ExitStatus::failed) {
        return end.status;
    }
    const bool isKept = options.empty && recording.recorder.failure();
    return isKept && emptied == ExitStatus::complete ? ExitStatus::leftInPlace : emptied;
}

} // namespace start
