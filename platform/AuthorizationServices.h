#pragma once

#include "platform/foundation/Result.h"

#include <cstdint>
#include <istream>
#include <memory>
#include <string>
#include <vector>

namespace platform {

/// A handle that rights are granted to. It is only a number: one that was freed, or that no service
/// gave out, is refused by every call.
enum class AuthorizationRef : std::uint64_t { none = 0 };

/// What a call is allowed to do. Combinations are sums.
using AuthorizationFlags = std::uint32_t;
inline constexpr AuthorizationFlags kAuthorizationFlagDefaults = 0;
/// The user may be asked; without it nothing appears on the screen.
inline constexpr AuthorizationFlags kAuthorizationFlagInteractionAllowed = 1;
/// Rights that the handle lacks may be added to it.
inline constexpr AuthorizationFlags kAuthorizationFlagExtendRights = 2;
/// The rights are obtained now rather than when they are first used.
inline constexpr AuthorizationFlags kAuthorizationFlagPreAuthorize = 16;

/// What a call answers. A service may answer other numbers too; all but the first are failures.
using AuthorizationStatus = std::int32_t;
inline constexpr AuthorizationStatus errAuthorizationSuccess = 0;
/// The handle was freed, or never given out.
inline constexpr AuthorizationStatus errAuthorizationInvalidRef = -60002;
/// The user may not have the right, or the credentials are wrong.
inline constexpr AuthorizationStatus errAuthorizationDenied = -60005;
/// The user dismissed the question.
inline constexpr AuthorizationStatus errAuthorizationCanceled = -60006;
/// The service cannot be reached, or does not exist on this machine.
inline constexpr AuthorizationStatus errAuthorizationInternal = -60008;
/// The tool could not be started.
inline constexpr AuthorizationStatus errAuthorizationToolExecuteFailure = -60031;

/// A right that is asked for, such as "system.privilege.admin", or one of the credentials that a
/// handle is made with: "username" or "password". `value` is bytes without a terminating zero.
struct AuthorizationItem {
    std::string name;                                      ///< Of the right or the credential.
    std::string value;                                     ///< Empty for a right.
    AuthorizationFlags flags = kAuthorizationFlagDefaults; ///< Always the defaults.

    bool operator==(const AuthorizationItem&) const = default;
};
/// Rights, or credentials, in no order.
using AuthorizationItemSet = std::vector<AuthorizationItem>;

/// What a call returns: its error is one of the failures above, or another number.
template <class T>
using AuthorizationResult = Result<T, AuthorizationStatus>;

/// Grants the rights of an administrator to the program and runs tools with them.
/// Any thread may call every member.
class AuthorizationServices {
public:
    static constexpr const char* portName = "AuthorizationServices";
    virtual ~AuthorizationServices() = default;

    /// Makes a handle that holds no right yet. `environment` is empty or holds the credentials that
    /// stand in for the user's answers.
    virtual AuthorizationResult<AuthorizationRef> create(const AuthorizationItemSet& environment,
                                                         AuthorizationFlags flags) = 0;

    /// Asks for rights on a handle, with the credentials in `environment` if there are any. With
    /// kAuthorizationFlagInteractionAllowed the user may be asked, which takes as long as the user
    /// does.
    virtual AuthorizationResult<void> copyRights(AuthorizationRef ref,
                                                 const AuthorizationItemSet& rights,
                                                 const AuthorizationItemSet& environment,
                                                 AuthorizationFlags flags) = 0;

    /// Whether a handle has been given rights and they last. Asks nobody.
    [[nodiscard]] virtual bool holdsRights(AuthorizationRef ref) = 0;

    /// Gives a handle up.
    virtual void free(AuthorizationRef ref, AuthorizationFlags flags) = 0;

    /// The handle that a privileged parent process left to this one, a failure when there is none.
    virtual AuthorizationResult<AuthorizationRef>
    copyPrivilegedReference(AuthorizationFlags flags) = 0;

    /// Starts a tool as the superuser and returns when it is started. `toolPath` is absolute and
    /// `arguments` leaves out the tool's own name; nothing of it goes through a shell. A path or an
    /// argument with a zero byte is refused. The stream reads the tool's standard output up to its
    /// end; letting it go neither ends nor disturbs the tool.
    virtual AuthorizationResult<std::unique_ptr<std::istream>>
    executeWithPrivileges(AuthorizationRef ref, const std::string& toolPath,
                          AuthorizationFlags options,
                          const std::vector<std::string>& arguments) = 0;
};

} // namespace platform
