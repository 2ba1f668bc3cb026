#pragma once

#include "platform/foundation/Result.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace qf {

/// The status of a request to the desktop, which may return other numbers too.
using WorkspaceStatus = std::int32_t;
/// Success.
inline constexpr WorkspaceStatus noErr = 0;
/// There is no item at the path.
inline constexpr WorkspaceStatus fnfErr = -43;
/// There is no desktop session that could have a file browser.
inline constexpr WorkspaceStatus procNotFound = -600;
/// The session's bus does not take messages.
inline constexpr WorkspaceStatus connectionInvalid = -609;
/// The session's bus does not answer.
inline constexpr WorkspaceStatus errAETimeout = -1712;
/// The registration could not be kept.
inline constexpr WorkspaceStatus kLSUnknownErr = -10810;
/// There is no application at the path.
inline constexpr WorkspaceStatus kLSApplicationNotFoundErr = -10814;
/// The application does not declare an identifier.
inline constexpr WorkspaceStatus kLSDataErr = -10817;

/// An item in the Trash.
struct ItemInTrash {
    std::string place; ///< Its path there.
    std::string path;  ///< The path that it had, empty if the Trash has no record of that.

    bool operator==(const ItemInTrash&) const = default;
};

/// The desktop's view of the machine: its applications, its volumes, its labels and its Trash.
/// Any thread may call every member.
class Workspace {
public:
    static constexpr const char* portName = "Workspace";
    virtual ~Workspace() = default;

    /// Returns the absolute path of the installed application bundle with this identifier (compared
    /// ignoring case), or nullopt if the desktop knows none.
    virtual std::optional<std::string> applicationPath(const std::string& bundleIdentifier) = 0;

    /// Returns whether the path is a directory that users see as one item, such as an application
    /// bundle.
    virtual bool isFilePackage(const std::string& path) = 0;

    /// Registers the application bundle at an absolute path with the desktop: applicationPath finds
    /// it wherever it is, as long as it exists. Registering it again updates what the desktop knows
    /// of it.
    virtual Result<void, WorkspaceStatus> registerApplication(const std::string& path) = 0;

    /// Notifies the file browsers of the session that the item at an absolute path has changed, a
    /// directory with its contents. Success means that the notice was sent, not that anybody
    /// received it.
    virtual Result<void, WorkspaceStatus> noteFileSystemChanged(const std::string& path) = 0;

    /// Returns the absolute paths at which local volumes are mounted, "/" included; volumes of
    /// other machines are left out.
    virtual std::vector<std::string> mountedLocalVolumePaths() = 0;

    /// Returns the number of an item's label, 0 if it has none; nullopt if the item is missing or
    /// cannot have a label. A final link is not followed.
    virtual std::optional<int> labelNumber(const std::string& path) = 0;

    /// Sets the label of an item, from 1 to 7, or removes it with 0. A final link is not followed.
    virtual Result<void> setLabelNumber(const std::string& path, int number) = 0;

    /// Moves one item whole into the user's Trash, from where the desktop can restore it; if the
    /// Trash already holds the name, the item gets a unique one. A link is moved itself, not its
    /// target.
    ///
    /// `directory` is the item's parent and `name` its name there; `trash` is the Trash directory
    /// as the user knows it, which is created if it does not exist. An item that is in the Trash
    /// already stays as it is. On failure the item is left whole in its place: it is never deleted
    /// instead. EBUSY means that a volume is mounted on the item or inside it, or that it is
    /// unknown whether one is, so that no other means may move it either: emptying the Trash would
    /// delete what is on that volume.
    ///
    /// Returns the absolute path of the item in the Trash: that of the directory which really holds
    /// it, links resolved, so for an item of another volume it is on that volume. It is empty if
    /// the path is too long for the system.
    ///
    /// A power cut leaves the item in its place or in the Trash with the whole record of where it
    /// came from, never without it or with a part of it; which of the two is certain only after
    /// makeTrashDurable(). That holds on volumes that keep the order of changes to directories, as
    /// journaling ones do; on others, such as FAT, the item may be in the Trash without the record.
    virtual Result<std::string> recycle(const std::string& directory, const std::string& trash,
                                        const std::string& name) = 0;

    /// Announces items that recycle() is about to be asked for, each under the path that
    /// `directory` and `name` have then, so that their records are written and made durable
    /// together: much faster than one by one. It changes no result, and nothing else of the items.
    /// Items that do not exist or are too many are ignored, and so are failures. Records that
    /// recycle() has not used by the next makeTrashDurable() are deleted then.
    virtual void prepareToRecycle(const std::string& trash,
                                  const std::vector<std::string>& paths) = 0;

    /// Creates the Trash directory as the user knows it, as recycle() does, if it does not exist,
    /// for callers that move items there by other means. It is the user's own, closed to others.
    /// Failures are ignored: the move then fails.
    virtual void makeTrash(const std::string& trash) = 0;

    /// Records where the item at `path` came from, as recycle() does, before other means move it to
    /// `place` in the Trash. Whatever exists at `place` gets a unique name, so that the move
    /// replaces nothing. Returns what to call once when the move has ended or failed: it deletes
    /// the record unless the item has arrived. If none can be written, or the Trash is one that has
    /// none, the item goes without a record.
    ///
    /// Fails if the item must not be moved: it does not exist, or EBUSY as for recycle().
    virtual Result<std::function<void()>> moveTrashed(const std::string& path,
                                                      const std::string& place) = 0;

    /// Returns the items in the user's Trash on every volume, in no order. `trash` is the Trash
    /// directory as the user knows it. What killed processes left there is taken back first. Fails
    /// if not all of it can be seen.
    virtual Result<std::vector<ItemInTrash>> itemsInTrash(const std::string& trash) = 0;

    /// Moves the item at `place` in the Trash to `path`, and deletes the record of where it came
    /// from. An existing item at `path` is never replaced: that is an error. On failure the item
    /// stays whole in the Trash.
    virtual Result<void> putBack(const std::string& place, const std::string& path) = 0;

    /// Finishes a putBack() from `place` to `path` that was killed when it had copied the item:
    /// removes what killed moves have left beside `path` under hidden names, and at `place` once
    /// all of that has proved to be in the copy. Does nothing where no such putBack() was killed.
    /// Moves nothing. A failure leaves what is there for the next attempt.
    virtual void finishPutBack(const std::string& place, const std::string& path) = 0;

    /// Deletes the record of the item that came from `path`, was at `place` in the Trash, and has
    /// been moved or deleted by other means. Does nothing if it is still there, or if the record is
    /// that of an item from elsewhere.
    virtual void forgetTrashed(const std::string& place, const std::string& path) = 0;

    /// Makes what recycle() has moved since the last call durable, with one sync for each volume,
    /// for the end of a batch, and deletes the records that prepareToRecycle() made in vain.
    virtual void makeTrashDurable() = 0;
};

} // namespace qf
