#include "app/start/RunFollower.h"

#include "app/start/Outlets.h"
#include "platform/Application.h"
#include "platform/Services.h"
#include "platform/foundation/Path.h"

#include <utility>

namespace start {

namespace {

constexpr const char* uninstaller = "Kelvane Uninstaller";
constexpr const char* reason = "Moving Kelvane to the Trash";

} // namespace

void RunFollower::follow(cli::Run& run, platform::Interface& interface) {
    run_ = &run;
    removeShared_ = &interface.checkBox(removeSharedOutlet);
    item_ = &interface.label(progressItemOutlet);
}

void RunFollower::rowBegan(const PlanRow& /*row*/) {
    if (run_ == nullptr || std::exchange(hasBegun_, true)) {
        return;
    }
    inhibition_ = platform::service<platform::Inhibitors>().inhibitShutdown(uninstaller, reason);
    const bool goes = removeShared_->state() == platform::CheckBoxState::on;
    for (const auto& row : run_->begin(goes ? RemoveShared::yes : RemoveShared::no)) {
        if (row.state == ItemState::found) {
            found_.insert(row.path);
        }
    }
}

void RunFollower::itemBegan(const std::string& path) {
    const auto total = found_.size() + number_;
    if (found_.erase(path) == 0) {
        return;
    }
    auto text = platform::path::lastComponent(path) + ", " + std::to_string(++number_) + " of " +
                std::to_string(total);
    platform::service<platform::Application>().performOnMainThread(
        [item = item_, text = std::move(text)] { item->setText(text); }, platform::Wait::no);
}

void RunFollower::walkEnded() {
    inhibition_.reset();
}

} // namespace start
