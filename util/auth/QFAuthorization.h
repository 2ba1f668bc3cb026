#pragma once

#include "platform/AuthorizationServices.h"
#include "platform/foundation/Result.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace qf {

/// Whether the controller may let the platform ask for a password.
enum class UserInterface { no, yes };

/// Whether a call returns once a privileged tool is started, or waits until its output ends.
enum class Async { no, yes };

/// Whether a superuser process that knows no user, and so no Trash, deletes instead of trashing.
enum class DeleteOnRootAccount { no, yes };

} // namespace qf

/// The process's administrator authorization, and the file operations performed with it.
///
/// There is one controller in a process, created on first use. It is unauthorized until authStart()
/// or authStartWithUser() obtains the right "system.privilege.admin", or authorized from its
/// creation if a privileged parent left its right to this process; it remains authorized until
/// authEnd(). A process of the superuser (real user id 0) is always authorized, asks for nothing
/// and runs its tools directly.
///
/// Messages go to the system log, except where noted. The file operations log only refusals; they
/// run on the caller's thread, which waits while the user is asked. Any thread may call every
/// member: of concurrent callers, one creates the controller, and one asks the user, for all.
class QFAuthorization {
public:
    /// Returns the controller, created with a user interface if it does not exist yet.
    static QFAuthorization& sharedController();

    /// Returns the controller, created in this mode if it does not exist yet. An existing one keeps
    /// its mode.
    static QFAuthorization& sharedController(qf::UserInterface userInterface);

    /// Returns a new controller, to be set up by init() or initWithoutGUI(); null if one exists.
    static QFAuthorization* allocWithZone();

    /// Set up a new controller, with and without a user interface: take over the right of a
    /// privileged parent, and remember the user's home directory unless the superuser runs the
    /// process.
    QFAuthorization& init();
    QFAuthorization& initWithoutGUI();

    /// There is no second controller: copying and retaining return this one, releasing does
    /// nothing, and the count is the largest possible.
    QFAuthorization& copyWithZone() { return *this; }
    QFAuthorization& retain() { return *this; }
    QFAuthorization& autorelease() { return *this; }
    void release() {}
    std::uint32_t retainCount() const { return UINT32_MAX; }

    /// Gives up the right and destroys the controller; the next request creates another. No other
    /// thread may use the controller then or later.
    void dealloc();

    QFAuthorization(const QFAuthorization&) = delete;
    QFAuthorization& operator=(const QFAuthorization&) = delete;
    QFAuthorization(QFAuthorization&&) = delete;
    QFAuthorization& operator=(QFAuthorization&&) = delete;

    /// Obtains the right, asking the user if necessary. Returns whether the right is held
    /// afterwards. A controller without a user interface logs "Unable to authorize" and returns
    /// false.
    bool authStart();

    /// As authStart; says why the right is not held. The error's code is the platform's answer, or
    /// `notAuthorized` if nobody may be asked.
    qf::Result<void> authStartWithResult();

    /// Obtains the right with a user's name and password, asking nobody. Replaces a handle that is
    /// already held. Returns whether the right is held afterwards; returns false at once if the
    /// name or the password is missing. Logs failures, wrong credentials also in the program's log.
    bool authStartWithUser(const std::optional<std::string>& user,
                           const std::optional<std::string>& password);

    /// As authStartWithUser; says why the right is not held. The error's code is the platform's
    /// answer, or `notAuthorized` if the name or the password is missing.
    qf::Result<void> authStartWithUserWithResult(const std::optional<std::string>& user,
                                                 const std::optional<std::string>& password);

    /// Gives up the right. The superuser remains authorized.
    void authEnd();

    /// Returns whether the right is held. A right that the platform has taken back is not.
    bool isAuthorized() const;

    /// Returns whether the right can be obtained at all: the user may be asked, or the superuser
    /// runs the process.
    bool canAuthorize() const;

    /// The platform's handle; AuthorizationRef::none while no right is held.
    qf::AuthorizationRef authRef() const { return authRef_; }
    void setAuthRef(qf::AuthorizationRef authRef) { authRef_ = authRef; }

    /// Whether the user may be asked.
    bool hasGUI() const { return hasGUI_; }
    void setHasGUI(bool hasGUI) { hasGUI_ = hasGUI; }

    /// Results of authExecTask if the right was not obtained, and if the tool does not exist. Other
    /// numbers are the platform's; 0 is success.
    static constexpr int notAuthorized = -1;
    static constexpr int toolMissing = -2;
    /// The domain of the errors below.
    static constexpr const char* errorDomain = "QFAuthorizationErrorDomain";
    /// The status of a file operation that was refused before any tool was looked for.
    static constexpr int refused = -3;

    /// A tool that a file operation started, or why it did not.
    struct StartedTool {
        /// 0 when the tool was started; otherwise as authExecTask, or `refused`.
        int status = 0;
        /// The platform's answer to the last request for the right; no value if it was not asked.
        std::optional<qf::AuthorizationStatus> right;
        /// Why the tool was not started; empty when it was.
        std::string reason;
        /// Where startTrashing() has the item moved; empty if the tool was not started.
        std::string destination;
        /// Waits until the tool has ended, successfully or not. Empty if there is nothing to wait
        /// for. Any thread may call it, once.
        std::function<void()> waitUntilExit;
    };

    /// Runs a tool as the superuser, obtaining the right first if it is not held.
    ///
    /// With Async::no it returns once the tool has closed its output, normally by ending; the
    /// tool's status is not seen. In a process of the superuser the result is 0 whatever the tool
    /// does.
    int authExecTask(const std::string& path, const std::vector<std::string>& parameters,
                     qf::Async async);

    /// Does the same with Async::yes.
    int authExecTask(const std::string& path, const std::vector<std::string>& parameters);

    /// Does the same with a tool that gives a file to the superuser. The file is made anew and
    /// holds `content` afterwards, whatever another program of the user has written to it. A
    /// process of the superuser, whose files nobody else writes to, runs the tool as it is.
    int authExecTask(const std::string& path, const std::vector<std::string>& parameters,
                     const std::string& content);

    /// A null pointer is no content: `async` is a qf::Async.
    int authExecTask(const std::string& path, const std::vector<std::string>& parameters,
                     std::nullptr_t content) = delete;

    /// The file operations below start a tool and do not wait for it: they return true once it is
    /// started, possibly before it has done its work. They return false if the path is a system
    /// directory, which is logged, the right was refused, or the tool could not be started.
    ///
    /// Beside each is one that says why it failed. The error's code is the platform's answer to the
    /// request for the right or, if that was not requested, a number as authExecTask returns, or
    /// `refused`. Of the entries of a directory, the first that failed counts.

    /// Deletes an item with its contents. Does not check whether it exists.
    bool authRemoveFile(const std::string& path);
    qf::Result<void> authRemoveFileWithResult(const std::string& path);

    /// As authRemoveFile, but the caller can wait for the tool.
    StartedTool startRemoving(const std::string& path);

    /// Moves an item into the user's Trash. If the name is taken there, adds "_", the local date
    /// and time in 14 digits, "." and the extension to it. Creates the Trash of the user who runs
    /// the process if it does not exist, and records there where the item came from. An item that
    /// the tool would replace nevertheless gets another name.
    ///
    /// With DeleteOnRootAccount::yes, a superuser process that knows no user deletes the item at
    /// that path in the Trash instead, and leaves the item itself in place.
    bool authTrashFile(const std::string& path);
    bool authTrashFile(const std::string& path, qf::DeleteOnRootAccount deleteOnRootAccount);
    qf::Result<void> authTrashFileWithResult(const std::string& path,
                                             qf::DeleteOnRootAccount deleteOnRootAccount);

    /// As authTrashFile with DeleteOnRootAccount::no, but the caller can wait for the tool.
    StartedTool startTrashing(const std::string& path);

    /// Moves every entry of a directory into the user's Trash, continuing after a failure. With
    /// DeleteOnRootAccount::yes, a superuser process that knows no user deletes them instead.
    /// Returns true if no entry failed, and so for an empty or unreadable directory.
    bool authTrashFolderContents(const std::string& path);
    bool authTrashFolderContents(const std::string& path,
                                 qf::DeleteOnRootAccount deleteOnRootAccount);
    qf::Result<void> authTrashFolderContentsWithResult(const std::string& path,
                                                       qf::DeleteOnRootAccount deleteOnRootAccount);

    /// Moves every entry of a directory into another, continuing after a failure. Returns true if
    /// no entry failed.
    bool authMoveFolderContents(const std::string& path, const std::string& toPath);
    qf::Result<void> authMoveFolderContentsWithResult(const std::string& path,
                                                      const std::string& toPath);

    /// Moves an item to its full new path, replacing a file there. Returns false without a message
    /// if the item does not exist, unless a tool that moved it may have been killed in between: the
    /// move is then finished. Logs a missing path.
    bool authMoveFile(const std::optional<std::string>& path,
                      const std::optional<std::string>& toPath);
    qf::Result<void> authMoveFileWithResult(const std::optional<std::string>& path,
                                            const std::optional<std::string>& toPath);

    /// As authMoveFile, but the caller can wait for the tool.
    StartedTool startMoving(const std::string& path, const std::string& toPath);

    /// Copies an item with its contents to its full new path. System directories may be copied.
    /// Returns false as authMoveFile does.
    bool authCopyFile(const std::optional<std::string>& path,
                      const std::optional<std::string>& toPath);
    qf::Result<void> authCopyFileWithResult(const std::optional<std::string>& path,
                                            const std::optional<std::string>& toPath);

    /// Creates a directory and its missing parents; it may exist. Pauses 500 microseconds for the
    /// tool.
    bool authCreateDir(const std::string& path);
    qf::Result<void> authCreateDirWithResult(const std::string& path);

private:
    QFAuthorization() = default;
    ~QFAuthorization();

    static bool isSuperuser();

    QFAuthorization& init(qf::UserInterface userInterface);
    bool deletesInsteadOfTrashing(qf::DeleteOnRootAccount deleteOnRootAccount) const;
    std::optional<qf::AuthorizationStatus> obtainRight();
    static qf::Error withoutRight(const std::optional<qf::AuthorizationStatus>& answer);
    StartedTool runTool(const std::string& path, const std::vector<std::string>& arguments,
                        qf::Async async, const std::optional<std::string>& content);
    StartedTool startWithRight(const std::string& path, const std::vector<std::string>& arguments,
                               const std::optional<std::string>& content);
    StartedTool startTool(const std::string& path, const std::vector<std::string>& arguments);
    std::string trashDestination(const std::string& path) const;
    bool trashIsOwn() const;

    // One thread may change the handle and the mode while another reads them.
    std::atomic<qf::AuthorizationRef> authRef_{qf::AuthorizationRef::none};
    std::atomic<bool> hasGUI_{true};
    std::mutex starting_;
    std::optional<std::string> userDirectory_;
};
