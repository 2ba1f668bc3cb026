#include "app/start/UndoMain.h"

#include "app/Explanations.h"
#include "app/cli/ReportFile.h"
#include "app/cli/Undone.h"
#include "app/records/Emptying.h"
#include "app/records/PutBack.h"
#include "app/start/ItemOfAll.h"
#include "app/start/Recording.h"
#include "app/start/TerminalUser.h"
#include "platform/foundation/Exception.h"
#include "platform/foundation/Thread.h"

#include <algorithm>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace start {

using cli::ExitStatus;
using records::RunRecord;
using records::RunRecords;
namespace terminal = qf::terminal;

namespace {

constexpr const char* nothingRecorded = "No run is recorded.";
constexpr const char* nothingDeleted = "Nothing was deleted.";
constexpr const char* cannotAsk =
    "there is no terminal to ask on whether to delete for good; --yes answers";

/// Returns the records of the runs that the options mean.
std::vector<RunRecord> meantRuns(const cli::Options& options, const RunRecords& runs) {
    if (!options.run) {
        return runs.lastUninstall();
    }
    std::vector<RunRecord> meant;
    meant.push_back(runs.read(*options.run));
    return meant;
}

std::string recordsText(const cli::Options& options, const RunRecords& runs) {
    if (options.listRuns) {
        return options.json ? cli::runsAsJson(runs) : cli::runsAsText(runs);
    }
    if (options.showLast) {
        return options.json ? cli::lastRunAsJson(runs) : cli::lastRunAsText(runs);
    }
    const auto items = cli::undone(records::PutBack::preview(meantRuns(options, runs)));
    return options.json ? cli::itemsAsJson("preview", items) : cli::itemsAsText(items);
}

/// Undoes runs on a thread of its own, while the main thread answers questions.
class Undoing : public records::UndoObserver {
public:
    Undoing(const cli::Options& options, TerminalUser& user)
        : options_(options), user_(user), records_(meantRuns(options, recording_.runs)) {}

    bool isEmpty() const { return records_.empty(); }

    /// Asks whether to delete, and calls `answered` with the answer. Terminates the application if
    /// the Trash cannot be seen. Main thread only.
    void ask(std::function<void(bool)> answered) {
        std::vector<cli::UndoneItem> items;
        try {
            items = cli::undone(records::Emptying::preview(records_));
        } catch (const std::exception& exception) {
            result_.failure = explanationOf(exception);
            user_.application.terminate();
            return;
        }
        const auto count = std::to_string(
            std::ranges::count(items, false, [](const auto& item) { return item.place.empty(); }));
        user_.dialogue.ask({.prompt = "Delete " + count +
                                      " items of the Trash for good? They cannot be put back. "
                                      "[y/N] ",
                            .answered = [answered = std::move(answered)](const auto& line) {
                                answered(line && (*line == "y" || *line == "Y"));
                            }});
    }

    /// Begins, and terminates the application when all is done. Main thread only.
    void begin() {
        try {
            qf::detachNewThread([this] { undo(); });
        } catch (const std::exception& exception) {
            result_.failure = explanationOf(exception);
            user_.application.terminate();
        }
    }

    void itemBegan(const std::string& path, records::Progress progress) override {
        user_.application.performOnMainThread(
            [this, text = itemOfAll(path, progress)] { user_.screen.setStatus(text); },
            qf::Wait::no);
    }

    /// Returns what became of the items, when all is done.
    const cli::Undone& result() const { return result_; }

private:
    void undo() {
        result_ =
            options_.putBack
                ? cli::undone(
                      records::PutBack(recording_.runs, recording_.jobs, *this).perform(records_))
                : cli::undone(records::Emptying(recording_.runs, *this).perform(records_));
        user_.application.performOnMainThread(
            [this] {
                user_.screen.clearStatus();
                user_.application.terminate();
            },
            qf::Wait::untilDone);
    }

    const cli::Options options_;
    TerminalUser& user_;
    Recording recording_;
    std::vector<RunRecord> records_;
    cli::Undone result_;
};

/// Runs the application until all is done. Returns false if the person did not want it.
bool run(const cli::Options& options, TerminalUser& user, Undoing& undoing) {
    bool isWanted = true;
    if (options.empty && !options.yes && !undoing.isEmpty()) {
        undoing.ask([&](bool answer) {
            isWanted = answer;
            if (answer) {
                undoing.begin();
            } else {
                user.application.terminate();
            }
        });
    } else {
        undoing.begin();
    }
    user.application.run();
    return isWanted;
}

} // namespace

ExitStatus recordsMain(const cli::Options& options) {
    const RunRecords runs(RunRecords::usersDirectory());
    const auto text = recordsText(options, runs);
    print(options.json ? text : terminal::inUsersCharacters(text));
    return ExitStatus::complete;
}

ExitStatus undoMain(const cli::Options& options) {
    if (options.empty && !options.yes && !terminal::Dialogue::isTerminal()) {
        throw qf::Exception("QFNobodyToAsk", cannotAsk);
    }
    // Never destroyed: their threads may still call them when this function returns.
    static auto& user = *new TerminalUser(options, terminal::Manner::silent);
    static auto& undoing = *new Undoing(options, user);
    const cli::ReportFile report(options);
    report.prepare(cli::itemsAsJson("running", {}));
    ScreenOutput output(user.screen);
    // Without a record too: what a killed run has prepared in the Trash is removed.
    if (!run(options, user, undoing)) {
        output.paragraph(nothingDeleted);
        report.write(cli::itemsAsJson("cancelled", {}));
        return ExitStatus::cancelled;
    }
    const auto& result = undoing.result();
    if (undoing.isEmpty() && result.failure.empty()) {
        output.paragraph(nothingRecorded);
    } else {
        cli::tell(result, options.putBack ? "put back" : "deleted", output);
    }
    report.write(cli::undoneAsJson(result));
    return cli::statusOf(result);
}

} // namespace start
