#include "app/cli/RunObserver.h"

namespace cli {

namespace {

/// Returns the text for the person about an administrator's right that was not obtained, or did not
/// help.
const char* explanationOf(platform::AuthorizationStatus right) {
    switch (right) {
    case platform::errAuthorizationSuccess:
        return "It could not be moved with the administrator's right either.";
    case platform::errAuthorizationCanceled:
        return "It takes an administrator's password to move it.";
    case platform::errAuthorizationWrongPassword:
        return "The administrator's password was wrong.";
    case platform::errAuthorizationDenied:
        return "The administrator's right was denied.";
    default:
        return "The administrator's right cannot be had on this machine.";
    }
}

} // namespace

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
