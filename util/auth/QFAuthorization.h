#pragma once

#include "platform/AuthorizationServices.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

/// Whether the controller may let the platform show its question for a password.
enum class UserInterface { no, yes };

/// Whether a privileged tool is only started, or waited for until its output ends.
enum class Async { no, yes };

/// Whether a superuser without a user to give the item back to deletes instead of trashing.
enum class DeleteOnRootAccount { no, yes };

/// The program's one administrator authorization, and the file operations that are done with it.
///
/// There is one controller in a process, made when it is first asked for. It is unauthorized until
/// authStart() or authStartWithUser() obtains the right "system.privilege.admin", or from its
/// creation when a privileged parent left its right to this process, and stays authorized until
/// authEnd(). A process of the superuser (real user id 0) is always authorized, asks for nothing
/// and runs its tools directly.
///
/// Messages go to the system log, except where it says otherwise. The file operations log only what
/// they refuse; they run on the caller's thread, which waits while the user is asked. Any thread
/// may call every member: of those that come at the same time, one makes the controller, and one
/// asks the user, for all.
class QFAuthorization {
public:
    /// The controller, made with a user interface if there is none yet.
    static QFAuthorization& sharedController();

    /// The controller, made in this mode if there is none yet. One that exists keeps its mode.
    static QFAuthorization& sharedController(UserInterface userInterface);

    /// A new controller that init() or initWithoutGUI() has yet to set up; null when one exists.
    static QFAuthorization* allocWithZone();

    /// Sets a new controller up, with and without a user interface: takes over the right of a
    /// privileged parent, and remembers the user's home directory unless the superuser runs this.
    QFAuthorization& init();
    QFAuthorization& initWithoutGUI();

    /// There is no second controller: copying and retaining give this one, releasing does nothing,
    /// and the count is the largest there is.
    QFAuthorization& copyWithZone() { return *this; }
    QFAuthorization& retain() { return *this; }
    QFAuthorization& autorelease() { return *this; }
    void release() {}
    std::uint32_t retainCount() const { return UINT32_MAX; }

    /// Gives the right up and disposes of the controller; the next request makes another. No other
    /// thread uses the controller then or later.
    void dealloc();

    QFAuthorization(const QFAuthorization&) = delete;
    QFAuthorization& operator=(const QFAuthorization&) = delete;
    QFAuthorization(QFAuthorization&&) = delete;
    QFAuthorization& operator=(QFAuthorization&&) = delete;

    /// Obtains the right, asking the user if need be. True when the right is held afterwards.
    /// A controller without a user interface logs "Unable to authorize" and gives false.
    bool authStart();

    /// Obtains the right with a user's name and password, asking nobody. A handle that is held
    /// already is replaced. True when the right is held afterwards; false at once when the name or
    /// the password is missing. A failure is logged, that of wrong credentials also in the
    /// program's log.
    bool authStartWithUser(const std::optional<std::string>& user,
                           const std::optional<std::string>& password);

    /// Gives the right up. The superuser stays authorized.
    void authEnd();

    /// Whether the right is held. One that the platform has taken back is not.
    bool isAuthorized() const;

    /// Whether a right can be obtained at all: the user may be asked, or the superuser runs this.
    bool canAuthorize() const;

    /// The handle from the platform, none while no right is held.
    platform::AuthorizationRef authRef() const { return authRef_; }
    void setAuthRef(platform::AuthorizationRef authRef) { authRef_ = authRef; }

    /// Whether the user may be asked.
    bool hasGUI() const { return hasGUI_; }
    void setHasGUI(bool hasGUI) { hasGUI_ = hasGUI; }

    /// What authExecTask returns when the right was not obtained, and when there is no such tool.
    /// Other numbers are the platform's; 0 is success.
    static constexpr int notAuthorized = -1;
    static constexpr int toolMissing = -2;
    /// The status of a file operation that was refused before any tool was looked for.
    static constexpr int refused = -3;

    /// A tool that a file operation started, or why it did not.
    struct StartedTool {
        /// 0 when the tool was started; otherwise as authExecTask, or `refused`.
        int status = 0;
        /// What the platform answered to the last request that needed the right; none when it was
        /// not asked.
        std::optional<platform::AuthorizationStatus> right;
        /// Waits until the tool has ended, however it ends. Empty when there is nothing to wait
        /// for. Any thread may call it, once.
        std::function<void()> waitUntilExit;
    };

    /// Runs a tool with arguments as the superuser, obtaining the right first if it is not held.
    ///
    /// With Async::no it returns when the tool has closed its output, which is when it ends; how it
    /// ends is not seen. In a process of the superuser the answer is 0 whatever the tool does.
    int authExecTask(const std::string& path, const std::vector<std::string>& parameters,
                     Async async);

    /// The same with Async::yes.
    int authExecTask(const std::string& path, const std::vector<std::string>& parameters);

    /// The file operations below start a tool and do not wait for it: true means that it was
    /// started, and what it does may not be done yet. False means that the path is a system
    /// directory, which is logged, that the right was refused, or that the tool could not be
    /// started.

    /// Deletes an item with all that is in it. Whether it exists is not looked at.
    bool authRemoveFile(const std::string& path);

    /// Moves an item into the user's Trash; where an item of its name is in there, under its name
    /// with "_", the local date and time in 14 digits, "." and the extension added. The Trash of
    /// the user who runs the process is made where there is none.
    ///
    /// With DeleteOnRootAccount::yes a superuser process that knows no user deletes what stands at
    /// that place in the Trash instead, and leaves the item where it is.
    bool authTrashFile(const std::string& path);
    bool authTrashFile(const std::string& path, DeleteOnRootAccount deleteOnRootAccount);

    /// As authTrashFile with DeleteOnRootAccount::no; the result can be waited for.
    StartedTool startTrashing(const std::string& path);

    /// Moves every entry of a directory into the user's Trash, going on after a failure. With
    /// DeleteOnRootAccount::yes a superuser process that knows no user deletes them instead. True
    /// when none failed, so for an empty or unreadable directory too.
    bool authTrashFolderContents(const std::string& path);
    bool authTrashFolderContents(const std::string& path, DeleteOnRootAccount deleteOnRootAccount);

    /// Moves every entry of a directory into another, going on after a failure. True when none
    /// failed.
    bool authMoveFolderContents(const std::string& path, const std::string& toPath);

    /// Moves an item to its full new path, replacing a file there. False without a message when
    /// nothing stands at the old path; a missing path is logged.
    bool authMoveFile(const std::optional<std::string>& path,
                      const std::optional<std::string>& toPath);

    /// Copies an item with all that is in it to its full new path. System directories may be
    /// copied. False as for authMoveFile.
    bool authCopyFile(const std::optional<std::string>& path,
                      const std::optional<std::string>& toPath);

    /// Makes a directory and all that lead to it; it may exist. Pauses 500 microseconds for the
    /// tool.
    bool authCreateDir(const std::string& path);

private:
    QFAuthorization() = default;
    ~QFAuthorization();

    static bool isSuperuser();

    QFAuthorization& init(UserInterface userInterface);
    bool deletesInsteadOfTrashing(DeleteOnRootAccount deleteOnRootAccount) const;
    std::optional<platform::AuthorizationStatus> obtainRight();
    StartedTool startWithRight(const std::string& path, const std::vector<std::string>& arguments);
    StartedTool startTool(const std::string& path, const std::vector<std::string>& arguments);
    StartedTool startMoving(const std::string& path, const std::string& toPath);
    std::string trashDestination(const std::string& path) const;
    void makeOwnTrash() const;

    // The handle and the mode may be changed by one thread while another asks for them.
    std::atomic<platform::AuthorizationRef> authRef_{platform::AuthorizationRef::none};
    std::atomic<bool> hasGUI_{true};
    std::mutex starting_;
    std::optional<std::string> userDirectory_;
};
