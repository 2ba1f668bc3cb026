#include "app/windows/WindowPutBack.h"

#include "app/Explanations.h"
#include "app/start/ItemOfAll.h"
#include "app/start/Outlets.h"
#include "platform/Application.h"
#include "platform/Inhibitors.h"
#include "platform/Language.h"
#include "platform/Services.h"
#include "platform/foundation/Exception.h"
#include "platform/foundation/Thread.h"

#include <algorithm>
#include <exception>

namespace start {

namespace {

constexpr auto puttingBack = qf::translatable("MainMenu", "Putting Kelvane back in its place");

/// Returns the runs that may be offered; none if their records are not usable.
std::vector<records::RunRecord> usableRuns(const records::RunRecords& runs) {
    try {
        return runs.lastUninstall();
    } catch (const qf::Exception&) {
        return {};
    }
}

} // namespace

WindowPutBack::WindowPutBack(qf::Interface& interface, Recording& recording, Ending& ending)
    : mainWindow_(interface.window(mainWindowOutlet)),
      window_(interface.window(putBackWindowOutlet)),
      bar_(interface.progressIndicator(putBackBarOutlet)),
      item_(interface.label(putBackItemOutlet)), recording_(recording), ending_(ending),
      runs_(usableRuns(recording.runs)) {
}

bool WindowPutBack::isPossible() const {
    const auto isWaiting = [](const auto& item) { return item.outcome == records::Back::waiting; };
    try {
        return !runs_.empty() && std::ranges::any_of(records::PutBack::preview(runs_), isWaiting);
    } catch (const qf::Exception&) {
        return false; // The Trash cannot be seen.
    }
}

void WindowPutBack::begin() {
    hasBegun_ = true;
    try {
        qf::detachNewThread([this] { putBack(); });
    } catch (const std::exception& exception) {
        result_.failure = explanationOf(exception);
        qf::service<qf::Application>().terminate();
        return;
    }
    bar_.setUsesThreadedAnimation(true);
    bar_.startAnimation();
    window_.makeKeyAndOrderFront();
    mainWindow_.orderOut();
}

void WindowPutBack::putBack() {
    ending_.runBegins();
    try {
        const auto inhibition =
            qf::service<qf::Inhibitors>().inhibitShutdown(uninstaller, qf::translated(puttingBack));
        // Another run may have ended since the window was opened.
        runs_ = recording_.runs.lastUninstall();
        result_ =
            cli::undone(records::PutBack(recording_.runs, recording_.jobs, *this).perform(runs_));
    } catch (const std::exception& exception) {
        result_.failure = explanationOf(exception);
    }
    ending_.runEnded();
    qf::service<qf::Application>().performOnMainThread(
        [this] {
            window_.orderOut();
            qf::service<qf::Application>().terminate();
        },
        qf::Wait::untilDone);
}

void WindowPutBack::itemBegan(const std::string& path, records::Progress progress) {
    qf::service<qf::Application>().performOnMainThread(
        [this, text = itemOfAll(path, progress)] { item_.setText(text); }, qf::Wait::no);
}

} // namespace start
