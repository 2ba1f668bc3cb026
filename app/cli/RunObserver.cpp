#include "app/cli/RunObserver.h"

#include "app/Explanations.h"

namespace cli {

void RunObserver::itemEnded(const std::string& path, const TrashResult& result) {
    if (result.outcome == TrashOutcome::absent) {
        return;
    }
    if (result.waitUntilDone) {
        result.waitUntilDone();
    }
    auto& [succeeded, failure, right] = attempts_[path];
    succeeded = succeeded || result.outcome == TrashOutcome::moved;
    failure = result.error ? result.error->localizedDescription : std::string();
    right = result.right;
}

bool RunObserver::wasMoved(const std::string& path) const {
    const auto found = attempts_.find(path);
    return found != attempts_.end() && found->second.succeeded;
}

std::string RunObserver::whyNotMoved(const std::string& path) const {
    const auto found = attempts_.find(path);
    if (found == attempts_.end()) {
        return {};
    }
    const auto& [succeeded, failure, right] = found->second;
    if (!right) {
        return failure;
    }
    return (failure.empty() ? failure : failure + " ") + explanationOf(*right);
}

std::string RunObserver::lastCause(const std::string& path) const {
    const auto found = attempts_.find(path);
    if (found == attempts_.end()) {
        return {};
    }
    const auto& [succeeded, failure, right] = found->second;
    return right ? explanationOf(*right) : failure;
}

} // namespace cli
