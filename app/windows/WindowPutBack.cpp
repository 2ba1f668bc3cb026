#include "app/windows/WindowPutBack.h"

#include "app/Explanations.h"
#include "app/start/Outlets.h"
#include "platform/Application.h"
#include "platform/Inhibitors.h"
#include "platform/Services.h"
#include "platform/foundation/Exception.h"
#include "platform/foundation/Path.h"
#include "platform/foundation/Thread.h"

#include <algorithm>
#include <exception>
#include <utility>

namespace start {

namespace {

constexpr const char* putBackReason = "Putting Kelvane back in its place";

/// Returns the runs that may be offered; none if their records are not usable.
std::vector<records::RunRecord> usableRuns(const records::RunRecords& runs) {
    try {
        return runs.lastUninstall();
    } catch (const platform::Exception&) {
        return {};
    }
}

} // namespace

WindowPutBack::WindowPutBack(platform::Interface& interface, Recording& recording, Ending& ending)
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
    } catch (const platform::Exception&) {
        return false; // The Trash cannot be seen.
    }
}

void WindowPutBack::begin() {
    hasBegun_ = true;
    try {
        platform::detachNewThread([this] { putBack(); });
    } catch (const std::exception& exception) {
        result_.failure = explanationOf(exception);
        platform::service<platform::Application>().terminate();
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
            platform::service<platform::Inhibitors>().inhibitShutdown(uninstaller, putBackReason);
        // Another run may have ended since the window was opened.
        runs_ = recording_.runs.lastUninstall();
        result_ =
            cli::undone(records::PutBack(recording_.runs, recording_.jobs, *this).perform(runs_));
    } catch (const std::exception& exception) {
        result_.failure = explanationOf(exception);
    }
    ending_.runEnded();
    platform::service<platform::Application>().performOnMainThread(
        [this] {
            window_.orderOut();
            platform::service<platform::Application>().terminate();
        },
        platform::Wait::untilDone);
}

void WindowPutBack::itemBegan(const std::string& path) {
    auto text = platform::path::lastComponent(path) + ", " + std::to_string(++number_);
    platform::service<platform::Application>().performOnMainThread(
        [this, text = std::move(text)] { item_.setText(text); }, platform::Wait::no);
}

} // namespace start
