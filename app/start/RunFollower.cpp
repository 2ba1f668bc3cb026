#include "app/start/RunFollower.h"

#include "app/start/ItemOfAll.h"
#include "app/start/Outlets.h"
#include "platform/Application.h"
#include "platform/Language.h"
#include "platform/Services.h"

#include <utility>

namespace start {

namespace {

constexpr auto movingToTrash = qf::translatable("MainMenu", "Moving Kelvane to the Trash");

} // namespace

void RunFollower::follow(cli::Run& run, records::RunRecorder& recorder, qf::Interface& interface) {
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
    inhibition_ =
        qf::service<qf::Inhibitors>().inhibitShutdown(uninstaller, qf::translated(movingToTrash));
    const auto removeShared =
        removeShared_->state() == qf::CheckBoxState::on ? RemoveShared::yes : RemoveShared::no;
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
void RunFollower::itemEnded(const std::string& path, const qf::TrashResult& result) {
    RunObserver::itemEnded(path, result);
    recorder_->itemEnded(path, result);
}

void RunFollower::rowEnded(const PlanRow& row) {
    recorder_->rowEnded(row);
}

void RunFollower::walkEnded() {
    for (const auto& path : found_) {
        recorder_->itemMissed(path);
    }
    recorder_->walkEnded();
    inhibition_.reset();
}

void RunFollower::show(const std::string& path) {
    const auto total = found_.size() + number_;
    if (found_.erase(path) == 0) {
        return;
    }
    auto text = itemOfAll(path, {.number = ++number_, .total = total});
    qf::service<qf::Application>().performOnMainThread(
        [item = item_, text = std::move(text)] { item->setText(text); }, qf::Wait::no);
}

} // namespace start
