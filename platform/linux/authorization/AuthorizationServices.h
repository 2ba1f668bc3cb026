#pragma once

#include "platform/AuthorizationServices.h"
#include "platform/linux/authorization/HelperStart.h"
#include "platform/linux/authorization/RightRequests.h"

#include <map>
#include <memory>
#include <mutex>
#include <optional>

namespace qf::native {

/// The administrator's right through polkit. A handle that has the right has a connection to a
/// helper that pkexec has started as the superuser; the right lasts as long as the connection.
///
/// With kAuthorizationFlagInteractionAllowed the user is asked. Without it the credentials answer
/// polkit's question, as the agent for this process alone: nothing appears on the screen. While a
/// right is obtained or held, the process writes no core dump and lets no other look into it. See
/// RightRequests. Credentials replace every right that the process has, whether or not they are
/// right.
///
/// Statuses beyond success: errAuthorizationInvalidRef for an invalid handle;
/// errAuthorizationDenied for another right than "system.privilege.admin", without
/// kAuthorizationFlagExtendRights when the right is not held yet, and when polkit or PAM says no;
/// errAuthorizationCanceled when the question was dismissed; errAuthorizationWrongPassword when the
/// program's own was answered with wrong passwords; errAuthorizationInternal without
/// polkit, pkexec or helper, and for a tool when the helper has gone, after which the right may be
/// asked for again; errAuthorizationToolExecuteFailure when the helper refuses to start a tool.
class AuthorizationServices : public qf::AuthorizationServices {
public:
    AuthorizationServices() : AuthorizationServices(HelperPaths::installed()) {}
    explicit AuthorizationServices(HelperPaths paths, Asking asking = Asking::always)
        : requests_(std::move(paths), asking) {}

    AuthorizationResult<AuthorizationRef> create(const AuthorizationItemSet& environment,
                                                 AuthorizationFlags flags) override;
    AuthorizationResult<void> copyRights(AuthorizationRef ref, const AuthorizationRights& rights,
                                         const AuthorizationItemSet& environment,
                                         AuthorizationFlags flags) override;
    bool holdsRights(AuthorizationRef ref) override;
    void free(AuthorizationRef ref, AuthorizationFlags flags) override;
    /// The parent's right is taken over once: when its handle is freed, it is gone.
    AuthorizationResult<AuthorizationRef>
    copyPrivilegedReference(AuthorizationFlags flags) override;
    bool mayHaveUnfinishedMove(const std::string& path) override;
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

    RightRequests requests_;
    std::mutex mutex_;
    std::map<AuthorizationRef, Connection> handles_;
    std::uint64_t lastHandle_ = 0;
    bool inheritedIsTaken_ = false;
};

} // namespace qf::native
