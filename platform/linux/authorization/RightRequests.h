#pragma once

#include "platform/AuthorizationServices.h"
#include "platform/linux/authorization/HelperStart.h"
#include "platform/linux/authorization/PolkitAgent.h"

#include <future>
#include <mutex>
#include <utility>

namespace platform {
class PasswordQuestion;
}

namespace platform::native {

/// Obtains the administrator's right, one request after another: an agent of this process would
/// answer for any other helper that is started at the same time. While a request is open, the
/// process is not dumpable. While another process traces this one, which would have the right as
/// well, nobody is asked; the system log says so.
///
/// errAuthorizationInternal without polkit, pkexec or helper; errAuthorizationDenied when polkit or
/// PAM says no; errAuthorizationCanceled when the question was dismissed. Any thread may call every
/// member.
class RightRequests {
public:
    explicit RightRequests(HelperPaths paths) : paths_(std::move(paths)) {}

    /// Asks the user, by the program where there is a PasswordQuestion, else by the desktop's own
    /// agent. Calls that come meanwhile share the answer, and so the connection.
    StartedHelper ask();

    /// Answers polkit's question with the "username" and "password" among the credentials. The
    /// password is used where it is and copied nowhere.
    StartedHelper authorize(const AuthorizationItemSet& credentials);

private:
    StartedHelper askAlone();
    StartedHelper startAsking(PasswordQuestion& question);
    StartedHelper startWithAgent(PolkitAnswerer answerer);

    const HelperPaths paths_;
    std::mutex mutex_;
    /// The question that the user is being asked, if any.
    std::shared_future<StartedHelper> question_;
    /// Held while a right is obtained.
    std::mutex obtaining_;
};

} // namespace platform::native
