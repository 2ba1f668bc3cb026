#pragma once

#include "platform/AuthorizationServices.h"

#include <cstdint>
#include <deque>
#include <functional>
#include <iosfwd>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

/// A call of the authorization service, with its arguments.
struct AuthorizationCall {
    std::string operation;
    qf::AuthorizationRef ref = qf::AuthorizationRef::none;
    qf::AuthorizationRights rights;
    qf::AuthorizationItemSet environment;
    qf::AuthorizationFlags flags = 0;
    std::string tool;
    std::vector<std::string> arguments;
    std::optional<std::string> content;

    bool operator==(const AuthorizationCall&) const = default;
};

std::ostream& operator<<(std::ostream& out, const AuthorizationCall& call);

/// Records every call, grants every request unless a test says otherwise, and numbers its handles
/// from 1.
class RecordingAuthorizationServices : public qf::AuthorizationServices {
public:
    qf::AuthorizationStatus createStatus = qf::errAuthorizationSuccess;
    qf::AuthorizationStatus rightsStatus = qf::errAuthorizationSuccess;
    qf::AuthorizationStatus executeStatus = qf::errAuthorizationSuccess;
    /// Statuses of the next tools, used before executeStatus.
    std::deque<qf::AuthorizationStatus> nextExecuteStatuses;
    /// The handle passed by a privileged parent.
    qf::AuthorizationResult<qf::AuthorizationRef> inherited =
        qf::Unexpected(qf::errAuthorizationInternal);
    std::string toolOutput;
    /// Called before each tool.
    std::function<void()> beforeTool = [] {};

    /// Every call except those of copyPrivilegedReference.
    std::vector<AuthorizationCall> calls;
    std::vector<qf::AuthorizationFlags> inheritanceFlags;
    /// The paths to which an item may have been moved when a tool was killed.
    std::set<std::string> unfinishedMoves;
    /// Whether granted rights are still valid.
    bool rightsLast = true;
    /// How much of the last tool's output was unread when its stream was destroyed.
    std::streamsize unreadOutput = -1;

    qf::AuthorizationResult<qf::AuthorizationRef>
    create(const qf::AuthorizationItemSet& environment, qf::AuthorizationFlags flags) override;

    qf::AuthorizationResult<void> copyRights(qf::AuthorizationRef ref,
                                             const qf::AuthorizationRights& rights,
                                             const qf::AuthorizationItemSet& environment,
                                             qf::AuthorizationFlags flags) override;

    bool holdsRights(qf::AuthorizationRef /*ref*/) override { return rightsLast; }

    bool mayHaveUnfinishedMove(const std::string& path) override {
        return unfinishedMoves.contains(path);
    }

    void free(qf::AuthorizationRef ref, qf::AuthorizationFlags flags) override;

    qf::AuthorizationResult<qf::AuthorizationRef>
    copyPrivilegedReference(qf::AuthorizationFlags flags) override;

    qf::AuthorizationResult<std::unique_ptr<std::istream>>
    executeWithPrivileges(qf::AuthorizationRef ref, const std::string& toolPath,
                          qf::AuthorizationFlags options, const std::vector<std::string>& arguments,
                          const std::optional<std::string>& content) override;

    /// The tools that were run with their arguments, each as one line.
    std::vector<std::string> tools() const;

private:
    std::uint64_t lastRef_ = 0;
};
