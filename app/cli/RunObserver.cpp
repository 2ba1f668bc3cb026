#include "app/cli/RunObserver.h"

#include "app/Explanations.h"

namespace cli {

void RunObserver::itemEnded(const std::string& path, const qf::TrashResult& result) {
    if (result.outcome == qf::TrashOutcome::absent) {
        return;
    }
    if (result.waitUntilDone) {
        result.waitUntilDone();
    }
    auto& attempts = attempts_[path];
    attempts.succeeded = attempts.succeeded || result.outcome == qf::TrashOutcome::moved;
    if (!result.place.empty()) {
        attempts.place = result.place;
    }
    attempts.failure = result.error ? result.error->localizedDescription : std::string();
    attempts.right = result.right;
}

bool RunObserver::wasMoved(const std::string& path) const {
    const auto found = attempts_.find(path);
    return found != attempts_.end() && found->second.succeeded;
}

std::string RunObserver::placeInTrash(const std::string& path) const {
    const auto found = attempts_.find(path);
    return found == attempts_.end() ? std::string() : found->second.place;
}

std::string RunObserver::whyNotMoved(const std::string& path) const {
    const auto found = attempts_.find(path);
    if (found == attempts_.end()) {
        return {};
    }
    const auto& [succeeded, place, failure, right] = found->second;
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
    const auto& [succeeded, place, failure, right] = found->second;
    return right ? explanationOf(*right) : failure;
}

} // namespace cli
