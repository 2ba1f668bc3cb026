#pragma once

#include "platform/AuthorizationServices.h"
#include "platform/linux/authorization/HelperStart.h"
#include "platform/linux/authorization/PolkitAgent.h"

#include <future>
#include <mutex>
#include <optional>
#include <utility>

namespace qf {
class PasswordQuestion;
}

namespace qf::native {

/// How often a user is asked who refuses.
enum class Asking { always, once };

/// Obtains the administrator's right, one request after another: an agent of this process would
/// answer for any other helper that is started at the same time. While a request is open, the
/// process is not dumpable. While another process traces this one, which would have the right as
/// well, nobody is asked; the system log says so.
///
/// errAuthorizationInternal without polkit, pkexec or helper; errAuthorizationDenied when polkit or
/// PAM says no; errAuthorizationCanceled when the question was dismissed;
/// errAuthorizationWrongPassword when the program's own question was answered, and nothing was
/// gained by it. Any thread may call every member.
class RightRequests {
public:
    RightRequests(HelperPaths paths, Asking asking) : paths_(std::move(paths)), asking_(asking) {}

    /// Asks the user, by the program where there is a PasswordQuestion, else by the desktop's own
    /// agent. Calls that come meanwhile share the answer, and so the connection. With Asking::once
    /// a refusal is the answer to all later calls too.
    StartedHelper ask();

    /// Answers polkit's question with the "username" and "password" among the credentials. The
    /// password is used where it is and copied nowhere.
    StartedHelper authorize(const AuthorizationItemSet& credentials);

private:
    StartedHelper askAlone();
    StartedHelper startAsking(PasswordQuestion& question);
    void rememberRefusal(const StartedHelper& started);
    StartedHelper startWithAgent(PolkitAnswerer answerer);

    const HelperPaths paths_;
    const Asking asking_;
    std::mutex mutex_;
    /// What asking came to, where it is not to be repeated.
    std::optional<AuthorizationStatus> refusal_;
    /// The question that the user is being asked, if any.
    std::shared_future<StartedHelper> question_;
    /// Held while a right is obtained.
    std::mutex obtaining_;
};

} // namespace qf::native
