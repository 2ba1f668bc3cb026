#pragma once

#include "platform/AuthorizationServices.h"
#include "platform/linux/authorization/HelperConnection.h"

#include <memory>
#include <string>

namespace qf::native {

/// Where the programs lie that an administrator's right takes.
struct HelperPaths {
    std::string pkexec;
    std::string helper;

    /// The system's pkexec, and the utility layer's helper, which starts any tool.
    static HelperPaths installed();

    /// The system's pkexec, and the helper of this name in a directory.
    static HelperPaths in(const std::string& directory, const std::string& name);
};

/// A connection to a helper that is ready, or the reason why none could be made.
using StartedHelper = AuthorizationResult<std::shared_ptr<HelperConnection>>;

/// Starts a helper through pkexec, which has polkit ask for a password, and waits until it is ready
/// or will never be. errAuthorizationCanceled: the question was dismissed. errAuthorizationDenied:
/// it was answered wrongly, or nobody is there to answer it. errAuthorizationInternal: pkexec or
/// the helper is missing or does not start. Any thread may call it.
StartedHelper startHelper(const HelperPaths& paths);

/// Takes over the connection to a helper that a privileged parent process has left to this one. The
/// environment only tells the number of the descriptor; the connection is one that root has made,
/// and at whose other end a helper answers, or there is none. A descriptor that is something else
/// is left alone. Any thread may call it.
StartedHelper inheritedHelper();

} // namespace qf::native
