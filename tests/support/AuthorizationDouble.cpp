#include "tests/support/AuthorizationDouble.h"

#include <memory>
#include <sstream>

namespace {

/// Reports how much of it nobody has read.
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

} // namespace

std::ostream& operator<<(std::ostream& out, const AuthorizationCall& call) {
    out << call.operation << " ref " << static_cast<std::uint64_t>(call.ref) << " flags "
        << call.flags;
    for (const auto& right : call.rights) {
        out << " right " << right;
    }
    for (const auto& item : call.environment) {
        out << " environment " << item.name << '=' << item.value;
    }
    out << ' ' << call.tool;
    for (const auto& argument : call.arguments) {
        out << " '" << argument << '\'';
    }
    if (call.content) {
        out << " content " << *call.content;
    }
    return out;
}

qf::AuthorizationResult<qf::AuthorizationRef>
RecordingAuthorizationServices::create(const qf::AuthorizationItemSet& environment,
                                       qf::AuthorizationFlags flags) {
    calls.push_back({.operation = "create", .environment = environment, .flags = flags});
    if (createStatus != qf::errAuthorizationSuccess) {
        return qf::Unexpected(createStatus);
    }
    return qf::AuthorizationRef{++lastRef_};
}

qf::AuthorizationResult<void> RecordingAuthorizationServices::copyRights(
    qf::AuthorizationRef ref, const qf::AuthorizationRights& rights,
    const qf::AuthorizationItemSet& environment, qf::AuthorizationFlags flags) {
    calls.push_back({.operation = "copyRights",
                     .ref = ref,
                     .rights = rights,
                     .environment = environment,
                     .flags = flags});
    if (rightsStatus != qf::errAuthorizationSuccess) {
        return qf::Unexpected(rightsStatus);
    }
    return {};
}

void RecordingAuthorizationServices::free(qf::AuthorizationRef ref, qf::AuthorizationFlags flags) {
    calls.push_back({.operation = "free", .ref = ref, .flags = flags});
}

qf::AuthorizationResult<qf::AuthorizationRef>
RecordingAuthorizationServices::copyPrivilegedReference(qf::AuthorizationFlags flags) {
    inheritanceFlags.push_back(flags);
    return inherited;
}

qf::AuthorizationResult<std::unique_ptr<std::istream>>
RecordingAuthorizationServices::executeWithPrivileges(qf::AuthorizationRef ref,
                                                      const std::string& toolPath,
                                                      qf::AuthorizationFlags options,
                                                      const std::vector<std::string>& arguments,
                                                      const std::optional<std::string>& content) {
    calls.push_back({.operation = "execute",
                     .ref = ref,
                     .flags = options,
                     .tool = toolPath,
                     .arguments = arguments,
                     .content = content});
    beforeTool();
    auto status = executeStatus;
    if (!nextExecuteStatuses.empty()) {
        status = nextExecuteStatuses.front();
        nextExecuteStatuses.pop_front();
    }
    if (status != qf::errAuthorizationSuccess) {
        return qf::Unexpected(status);
    }
    return std::make_unique<WatchedStream>(toolOutput, unreadOutput);
}

std::vector<std::string> RecordingAuthorizationServices::tools() const {
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
