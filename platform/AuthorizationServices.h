#pragma once

#include "platform/foundation/Result.h"

#include <cstdint>
#include <istream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace qf {

/// A handle that rights are granted to. It is only a number: every call refuses one that was freed
/// or never issued.
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

/// The status of a call. A service may return other numbers too; all but the first are failures.
using AuthorizationStatus = std::int32_t;
inline constexpr AuthorizationStatus errAuthorizationSuccess = 0;
/// The handle was freed, or never issued.
inline constexpr AuthorizationStatus errAuthorizationInvalidRef = -60002;
/// The user is not allowed the right, or the credentials are wrong.
inline constexpr AuthorizationStatus errAuthorizationDenied = -60005;
/// The user dismissed the question.
inline constexpr AuthorizationStatus errAuthorizationCanceled = -60006;
/// The user answered the program's own question, each time with a wrong password.
inline constexpr AuthorizationStatus errAuthorizationWrongPassword = -60100;
/// The service cannot be reached, or does not exist on this machine.
inline constexpr AuthorizationStatus errAuthorizationInternal = -60008;
/// The tool could not be started.
inline constexpr AuthorizationStatus errAuthorizationToolExecuteFailure = -60031;

/// The names of rights, such as "system.privilege.admin", in no order.
using AuthorizationRights = std::vector<std::string>;

/// One of the credentials that a handle is created with.
struct AuthorizationItem {
    std::string name;                                      ///< "username" or "password".
    std::string value;                                     ///< Bytes without a terminating zero.
    AuthorizationFlags flags = kAuthorizationFlagDefaults; ///< Always the defaults.

    bool operator==(const AuthorizationItem&) const = default;
};
/// Credentials, in no order.
using AuthorizationItemSet = std::vector<AuthorizationItem>;

/// The result of a call: its error is one of the failures above, or another number.
template <class T>
using AuthorizationResult = Result<T, AuthorizationStatus>;

/// Grants the rights of an administrator to the program and runs tools with them.
/// Any thread may call every member.
class AuthorizationServices {
public:
    static constexpr const char* portName = "AuthorizationServices";
    virtual ~AuthorizationServices() = default;

    /// Creates a handle that holds no right yet. `environment` is empty or holds the credentials to
    /// use in place of the user's answers.
    virtual AuthorizationResult<AuthorizationRef> create(const AuthorizationItemSet& environment,
                                                         AuthorizationFlags flags) = 0;

    /// Requests rights for a handle, with the credentials in `environment` if there are any. With
    /// kAuthorizationFlagInteractionAllowed the user may be asked, which takes as long as the user
    /// does.
    virtual AuthorizationResult<void> copyRights(AuthorizationRef ref,
                                                 const AuthorizationRights& rights,
                                                 const AuthorizationItemSet& environment,
                                                 AuthorizationFlags flags) = 0;

    /// Returns whether a handle has been granted rights that are still valid. Asks nobody.
    [[nodiscard]] virtual bool holdsRights(AuthorizationRef ref) = 0;

    /// Frees a handle.
    virtual void free(AuthorizationRef ref, AuthorizationFlags flags) = 0;

    /// Returns the handle that a privileged parent process passed to this one, or a failure when it
    /// passed none.
    virtual AuthorizationResult<AuthorizationRef>
    copyPrivilegedReference(AuthorizationFlags flags) = 0;

    /// Returns whether a tool may have been killed that was moving an item to this path into a
    /// directory of the superuser's, so that the item is neither there nor where it was. The same
    /// move, started once more, then finishes that. Asks nobody.
    [[nodiscard]] virtual bool mayHaveUnfinishedMove(const std::string& path) = 0;

    /// Starts a tool as the superuser and returns once it runs. `toolPath` is absolute and
    /// `arguments` leaves out the tool's own name; no shell is involved. A path or an argument with
    /// a zero byte is refused. The returned stream reads the tool's standard output; destroying it
    /// neither ends nor disturbs the tool.
    ///
    /// With `content`, which only the tool that gives a file to the superuser takes, the file is
    /// made anew and holds these bytes afterwards, none of them zero, whatever others have written
    /// to it before.
    virtual AuthorizationResult<std::unique_ptr<std::istream>>
    executeWithPrivileges(AuthorizationRef ref, const std::string& toolPath,
                          AuthorizationFlags options, const std::vector<std::string>& arguments,
                          const std::optional<std::string>& content) = 0;
};

} // namespace qf
