#pragma once

#include "platform/AuthorizationServices.h"
#include "platform/linux/authorization/HelperStart.h"
#include "platform/linux/authorization/PolkitAgent.h"

#include <future>
#include <map>
#include <memory>
#include <mutex>
#include <optional>

namespace platform {
class PasswordQuestion;
}

namespace platform::native {

/// The administrator's right through polkit. A handle that has the right has a connection to a
/// helper that pkexec has started as the superuser; the right lasts as long as the connection.
///
/// With kAuthorizationFlagInteractionAllowed the user is asked, by the program where there is a
/// PasswordQuestion, else by the desktop's own agent; calls that come meanwhile share the answer,
/// and so the connection. Without it the credentials answer
/// polkit's question, as the agent for this process alone: nothing appears on the screen. The
/// password is used where it stands in the arguments and is copied nowhere; while it is in use and
/// while a right is held, the process writes no core dump and lets no other look into it. Rights
/// are obtained one after another: credentials wait until a question has been answered. They
/// replace every right that the process has, whether or not they are right. While another process
/// traces this one nobody is asked, and the system log says so.
///
/// Statuses beyond success: errAuthorizationInvalidRef for an invalid handle;
/// errAuthorizationDenied for another right than "system.privilege.admin", without
/// kAuthorizationFlagExtendRights when the right is not held yet, and when polkit or PAM says no;
/// errAuthorizationCanceled when the question was dismissed; errAuthorizationInternal without
/// polkit, pkexec or helper, and for a tool when the helper has gone, after which the right may be
/// asked for again; errAuthorizationToolExecuteFailure when the helper refuses to start a tool.
class AuthorizationServices : public platform::AuthorizationServices {
public:
    AuthorizationServices() : AuthorizationServices(HelperPaths::installed()) {}
    explicit AuthorizationServices(HelperPaths paths) : paths_(std::move(paths)) {}

    AuthorizationResult<AuthorizationRef> create(const AuthorizationItemSet& environment,
                                                 AuthorizationFlags flags) override;
    AuthorizationResult<void> copyRights(AuthorizationRef ref, const AuthorizationItemSet& rights,
                                         const AuthorizationItemSet& environment,
                                         AuthorizationFlags flags) override;
    bool holdsRights(AuthorizationRef ref) override;
    void free(AuthorizationRef ref, AuthorizationFlags flags) override;
    /// The parent's right is taken over once: when its handle is freed, it is gone.
    AuthorizationResult<AuthorizationRef>
    copyPrivilegedReference(AuthorizationFlags flags) override;
    AuthorizationResult<std::unique_ptr<std::istream>>
    executeWithPrivileges(AuthorizationRef ref, const std::string& toolPath,
                          AuthorizationFlags options, const std::vector<std::string>& arguments,
                          const std::optional<std::string>& content) override;

private:
    using Connection = std::shared_ptr<HelperConnection>;

    AuthorizationRef add(Connection connection);
    /// The handle's connection, null while it has no right; no value for an invalid handle.
    std::optional<Connection> find(AuthorizationRef ref);
    void giveUpAll();
    StartedHelper askUser();
    StartedHelper startAsking(PasswordQuestion& question);
    StartedHelper startWithAgent(PolkitAnswerer answerer);
    StartedHelper authorize(const AuthorizationItemSet& credentials);

    const HelperPaths paths_;
    std::mutex mutex_;
    std::map<AuthorizationRef, Connection> handles_;
    std::uint64_t lastHandle_ = 0;
    bool inheritedIsTaken_ = false;
    /// The question that the user is being asked, if any.
    std::shared_future<StartedHelper> question_;
    /// Held while a right is obtained: an agent of this process would answer for any other helper
    /// that is started at the same time.
    std::mutex obtaining_;
};

} // namespace platform::native
