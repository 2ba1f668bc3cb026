#pragma once

#include "platform/AuthorizationServices.h"

#include <cstdint>
#include <deque>
#include <functional>
#include <iosfwd>
#include <memory>
#include <optional>
#include <string>
#include <vector>

/// A call of the authorization service, with its arguments.
struct AuthorizationCall {
    std::string operation;
    platform::AuthorizationRef ref = platform::AuthorizationRef::none;
    platform::AuthorizationRights rights;
    platform::AuthorizationItemSet environment;
    platform::AuthorizationFlags flags = 0;
    std::string tool;
    std::vector<std::string> arguments;
    std::optional<std::string> content;

    bool operator==(const AuthorizationCall&) const = default;
};

std::ostream& operator<<(std::ostream& out, const AuthorizationCall& call);

/// Records every call, grants every request unless a test says otherwise, and numbers its handles
/// from 1.
class RecordingAuthorizationServices : public platform::AuthorizationServices {
public:
    platform::AuthorizationStatus createStatus = platform::errAuthorizationSuccess;
    platform::AuthorizationStatus rightsStatus = platform::errAuthorizationSuccess;
    platform::AuthorizationStatus executeStatus = platform::errAuthorizationSuccess;
    /// Statuses of the next tools, used before executeStatus.
    std::deque<platform::AuthorizationStatus> nextExecuteStatuses;
    /// The handle passed by a privileged parent.
    platform::AuthorizationResult<platform::AuthorizationRef> inherited =
        platform::Unexpected(platform::errAuthorizationInternal);
    std::string toolOutput;
    /// Called before each tool.
    std::function<void()> beforeTool = [] {};

    /// Every call except those of copyPrivilegedReference.
    std::vector<AuthorizationCall> calls;
    std::vector<platform::AuthorizationFlags> inheritanceFlags;
    /// Whether granted rights are still valid.
    bool rightsLast = true;
    /// How much of the last tool's output was unread when its stream was destroyed.
    std::streamsize unreadOutput = -1;

    platform::AuthorizationResult<platform::AuthorizationRef>
    create(const platform::AuthorizationItemSet& environment,
           platform::AuthorizationFlags flags) override;

    platform::AuthorizationResult<void>
    copyRights(platform::AuthorizationRef ref, const platform::AuthorizationRights& rights,
               const platform::AuthorizationItemSet& environment,
               platform::AuthorizationFlags flags) override;

    bool holdsRights(platform::AuthorizationRef /*ref*/) override { return rightsLast; }

    void free(platform::AuthorizationRef ref, platform::AuthorizationFlags flags) override;

    platform::AuthorizationResult<platform::AuthorizationRef>
    copyPrivilegedReference(platform::AuthorizationFlags flags) override;

    platform::AuthorizationResult<std::unique_ptr<std::istream>>
    executeWithPrivileges(platform::AuthorizationRef ref, const std::string& toolPath,
                          platform::AuthorizationFlags options,
                          const std::vector<std::string>& arguments,
                          const std::optional<std::string>& content) override;

    /// The tools that were run with their arguments, each as one line.
    std::vector<std::string> tools() const;

private:
    std::uint64_t lastRef_ = 0;
};
