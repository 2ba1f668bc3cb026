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

void RunFollower::follow(cli::Run& run, records::RunRecorder& recorder,
                         platform::Interface& interface) {
    run_ = &run;
    recorder_ = &recorder;
    removeShared_ = &interface.checkBox(removeSharedOutlet);
    item_ = &interface.label(progressItemOutlet);
}

void RunFollower::rowBegan(const PlanRow& row) {
    if (!std::exchange(hasBegun_, true)) {
        begin();
    }
    recorder_->rowBegan(row);
}

void RunFollower::begin() {
    inhibition_ = platform::service<platform::Inhibitors>().inhibitShutdown(uninstaller, reason);
    const auto removeShared = removeShared_->state() == platform::CheckBoxState::on
                                  ? RemoveShared::yes
                                  : RemoveShared::no;
    for (const auto& row : run_->begin(removeShared)) {
        if (row.state == ItemState::found) {
            found_.insert(row.path);
        }
    }
    recorder_->begin(removeShared);
}

void RunFollower::itemBegan(const std::string& path) {
    recorder_->itemBegan(path);
    show(path);
}

/// What a tool moves is recorded when the tool has ended.
void RunFollower::itemEnded(const std::string& path, const TrashResult& result) {
    RunObserver::itemEnded(path, result);
    recorder_->itemEnded(path, result);
}

void RunFollower::rowEnded(const PlanRow& row) {
    recorder_->rowEnded(row);
}

void RunFollower::walkEnded() {
    recorder_->walkEnded();
    inhibition_.reset();
}

void RunFollower::show(const std::string& path) {
    const auto total = found_.size() + number_;
    if (found_.erase(path) == 0) {
        return;
    }
    auto text = platform::path::lastComponent(path) + ", " + std::to_string(++number_) + " of " +
                std::to_string(total);
    platform::service<platform::Application>().performOnMainThread(
        [item = item_, text = std::move(text)] { item->setText(text); }, platform::Wait::no);
}

} // namespace start
