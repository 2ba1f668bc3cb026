#include "app/windows/Ending.h"

#include "platform/Application.h"
#include "platform/Services.h"
#include "platform/support/ApplicationName.h"

#include <cstdlib>

namespace start {

void Ending::request() {
    const std::lock_guard lock(mutex_);
    isRequested_ = true;
    if (!isRunning_) {
        end();
    }
}

void Ending::runBegins() {
    if (!otherRuns_) {
        otherRuns_.emplace(qf::applicationName());
        otherRuns_->waitUntilHeld();
    }
    const std::lock_guard lock(mutex_);
    isRunning_ = true;
}

void Ending::runEnded() {
    const std::lock_guard lock(mutex_);
    isRunning_ = false;
    if (isRequested_) {
        end();
    }
}

bool Ending::isRunning() {
    const std::lock_guard lock(mutex_);
    return isRunning_;
}

bool Ending::loopEnded(cli::ExitStatus status) {
    const std::lock_guard lock(mutex_);
    status_ = status;
    return isRequested_;
}

void Ending::end() {
    auto* application = qf::installedService<qf::Application>();
    if (application == nullptr || status_) {
        std::_Exit(static_cast<int>(status_.value_or(cli::ExitStatus::cancelled)));
    }
    application->performOnMainThread([application] { application->terminate(); }, qf::Wait::no);
}

} // namespace start
