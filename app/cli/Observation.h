#pragma once

#include "platform/AuthorizationServices.h"
#include "platform/ProcessLauncher.h"
#include "platform/Workspace.h"

#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace cli {

/// Looks on at the ports through which items are moved, and changes nothing but one thing: a tool
/// that runs with the administrator's right has ended when it is done with.
///
/// It stands behind those ports, in front of the services that were there before, for the rest of
/// the process. Any thread may call every member.
class Observation {
public:
    Observation();
    ~Observation();
    Observation(const Observation&) = delete;
    Observation& operator=(const Observation&) = delete;
    Observation(Observation&&) = delete;
    Observation& operator=(Observation&&) = delete;

    /// Waits until the tools that move items in the background have ended.
    void waitForMovers();

    /// Whether the item at the path has gone into the Trash.
    bool wasMoved(const std::string& path);

    /// Why the item at the path was not moved, in the user's words; empty when nobody tried to.
    std::string whyNotMoved(const std::string& path);

private:
    class ObservedWorkspace;
    class ObservedAuthorizationServices;
    class ObservedProcessLauncher;

    /// What became of the attempts to move an item.
    struct Attempt {
        bool succeeded = false;
        std::string failure;
        /// What asking for the administrator's right for it answered, if that was asked for.
        std::optional<platform::AuthorizationStatus> right;
    };

    void noteAttempt(const std::string& path, const std::optional<platform::Error>& error);
    void noteRight(platform::AuthorizationStatus status);
    void noteMover(std::shared_ptr<platform::ChildProcess> child);

    std::mutex mutex_;
    std::map<std::string, Attempt> attempts_;
    /// The item whose turn it is.
    std::string current_;
    std::vector<std::shared_ptr<platform::ChildProcess>> movers_;
    std::unique_ptr<ObservedWorkspace> workspace_;
    std::unique_ptr<ObservedAuthorizationServices> authorizationServices_;
    std::unique_ptr<ObservedProcessLauncher> processLauncher_;
};

} // namespace cli
