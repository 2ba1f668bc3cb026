#include "platform/support/Process.h"

#include "platform/Services.h"

namespace qf {

void Process::launch() {
    const std::lock_guard lock(mutex_);
    if (child_ != nullptr) {
        throw Exception(exception_name::invalidArgument,
                        "the task " + description_.launchPath + " is already launched");
    }
    child_ = service<ProcessLauncher>().launch(description_);
}

std::shared_ptr<ChildProcess> Process::launched() const {
    const std::lock_guard lock(mutex_);
    if (child_ == nullptr) {
        throw Exception(exception_name::invalidArgument,
                        "the task " + description_.launchPath + " is not launched");
    }
    return child_;
}

bool Process::isLaunched() const {
    const std::lock_guard lock(mutex_);
    return child_ != nullptr;
}

bool Process::isRunning() const {
    const std::lock_guard lock(mutex_);
    return child_ != nullptr && child_->isRunning();
}

void Process::waitUntilExit() const {
    launched()->waitUntilExit();
}

void Process::terminate() const {
    launched()->terminate();
}

void Process::endOutputWithChild() const {
    const std::lock_guard lock(mutex_);
    if (child_ != nullptr) {
        child_->endOutputWithChild();
    }
}

int Process::terminationStatus() const {
    const auto child = launched();
    if (child->isRunning()) {
        throw Exception(exception_name::invalidArgument,
                        "the task " + description_.launchPath + " is still running");
    }
    return child->terminationStatus();
}

long Process::processIdentifier() const {
    return launched()->processIdentifier();
}

Data availableData(Pipe& pipe) {
    Data data;
    pipe.appendAvailable(data.bytes);
    return data;
}

} // namespace qf
