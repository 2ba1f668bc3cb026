#pragma once

#include "platform/AuthorizationServices.h"

#include <deque>
#include <memory>
#include <ostream>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

/// One call of the authorization service, with what it was given.
struct AuthorizationCall {
    std::string operation;
    platform::AuthorizationRef ref = platform::AuthorizationRef::none;
    platform::AuthorizationItemSet rights;
    platform::AuthorizationItemSet environment;
    platform::AuthorizationFlags flags = 0;
    std::string tool;
    std::vector<std::string> arguments;

    bool operator==(const AuthorizationCall&) const = default;
};

inline std::ostream& operator<<(std::ostream& out, const AuthorizationCall& call) {
    out << call.operation << " ref " << static_cast<std::uint64_t>(call.ref) << " flags "
        << call.flags;
    for (const auto& item : call.rights) {
        out << " right " << item.name << '=' << item.value;
    }
    for (const auto& item : call.environment) {
        out << " environment " << item.name << '=' << item.value;
    }
    out << ' ' << call.tool;
    for (const auto& argument : call.arguments) {
        out << " '" << argument << '\'';
    }
    return out;
}

/// Remembers every call, grants what it is asked for unless a test says otherwise, and numbers its
/// handles from 1.
class RecordingAuthorizationServices : public platform::AuthorizationServices {
public:
    platform::AuthorizationStatus createStatus = platform::errAuthorizationSuccess;
    platform::AuthorizationStatus rightsStatus = platform::errAuthorizationSuccess;
    platform::AuthorizationStatus executeStatus = platform::errAuthorizationSuccess;
    /// Statuses of the next tools, before executeStatus counts.
    std::deque<platform::AuthorizationStatus> nextExecuteStatuses;
    /// What a privileged parent has left.
    platform::Authorization inherited;
    std::string toolOutput;

    /// Every call but those of copyPrivilegedReference.
    std::vector<AuthorizationCall> calls;
    std::vector<platform::AuthorizationFlags> inheritanceFlags;
    /// How much of the last tool's output was left when its stream was let go.
    std::streamsize unreadOutput = -1;

    platform::Authorization create(const platform::AuthorizationItemSet& environment,
                                   platform::AuthorizationFlags flags) override {
        calls.push_back({.operation = "create", .environment = environment, .flags = flags});
        if (createStatus != platform::errAuthorizationSuccess) {
            return {createStatus, platform::AuthorizationRef::none};
        }
        return {createStatus, platform::AuthorizationRef{++lastRef_}};
    }

    platform::AuthorizationStatus copyRights(platform::AuthorizationRef ref,
                                             const platform::AuthorizationItemSet& rights,
                                             const platform::AuthorizationItemSet& environment,
                                             platform::AuthorizationFlags flags) override {
        calls.push_back({.operation = "copyRights",
                         .ref = ref,
                         .rights = rights,
                         .environment = environment,
                         .flags = flags});
        return rightsStatus;
    }

    void free(platform::AuthorizationRef ref, platform::AuthorizationFlags flags) override {
        calls.push_back({.operation = "free", .ref = ref, .flags = flags});
    }

    platform::Authorization copyPrivilegedReference(platform::AuthorizationFlags flags) override {
        inheritanceFlags.push_back(flags);
        return inherited;
    }

    platform::PrivilegedTool
    executeWithPrivileges(platform::AuthorizationRef ref, const std::string& toolPath,
                          platform::AuthorizationFlags options,
                          const std::vector<std::string>& arguments) override {
        calls.push_back({.operation = "execute",
                         .ref = ref,
                         .flags = options,
                         .tool = toolPath,
                         .arguments = arguments});
        auto status = executeStatus;
        if (!nextExecuteStatuses.empty()) {
            status = nextExecuteStatuses.front();
            nextExecuteStatuses.pop_front();
        }
        if (status != platform::errAuthorizationSuccess) {
            return {status, nullptr};
        }
        return {status, std::make_unique<WatchedStream>(toolOutput, unreadOutput)};
    }

    /// The tools that were run with their arguments, each as one line.
    std::vector<std::string> tools() const {
        std::vector<std::string> lines;
        for (const auto& call : calls) {
            if (call.operation == "execute") {
                lines.push_back(call.tool);
                for (const auto& argument : call.arguments) {
                    lines.back() += ' ' + argument;
                }
            }
        }
        return lines;
    }

private:
    class WatchedStream : public std::istringstream {
    public:
        WatchedStream(const std::string& text, std::streamsize& unread)
            : std::istringstream(text), unread_(unread) {}
        ~WatchedStream() override { unread_ = rdbuf()->in_avail(); }
        WatchedStream(const WatchedStream&) = delete;
        WatchedStream& operator=(const WatchedStream&) = delete;
        WatchedStream(WatchedStream&&) = delete;
        WatchedStream& operator=(WatchedStream&&) = delete;

    private:
        std::streamsize& unread_;
    };

    std::uint64_t lastRef_ = 0;
};
