#pragma once

#include "platform/foundation/Result.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace platform {

/// Why the desktop did not do something, where a number is asked for. It may answer others, too.
using WorkspaceStatus = std::int32_t;
/// Success, for those who want a number for that too.
inline constexpr WorkspaceStatus noErr = 0;
/// Nothing stands at the path.
inline constexpr WorkspaceStatus fnfErr = -43;
/// There is no session that a file browser could be part of.
inline constexpr WorkspaceStatus procNotFound = -600;
/// The session's bus does not take messages.
inline constexpr WorkspaceStatus connectionInvalid = -609;
/// The session's bus does not answer.
inline constexpr WorkspaceStatus errAETimeout = -1712;
/// The registration could not be kept.
inline constexpr WorkspaceStatus kLSUnknownErr = -10810;
/// There is no application at the path.
inline constexpr WorkspaceStatus kLSApplicationNotFoundErr = -10814;
/// The application does not tell its identifier.
inline constexpr WorkspaceStatus kLSDataErr = -10817;

/// The desktop's view of the machine: its applications, its volumes, its labels and its Trash.
/// Any thread may call every member.
class Workspace {
public:
    static constexpr const char* portName = "Workspace";
    virtual ~Workspace() = default;

    /// The absolute path of the installed application bundle with this identifier (compared
    /// without case), or nothing when the desktop knows none.
    virtual std::optional<std::string> applicationPath(const std::string& bundleIdentifier) = 0;

    /// Whether the path is a directory that a person sees as one item, such as an application
    /// bundle.
    virtual bool isFilePackage(const std::string& path) = 0;

    /// Makes the application bundle at an absolute path one that the desktop knows: applicationPath
    /// finds it wherever it is, for as long as it is there. Registered again, it is known by what
    /// it says of itself now.
    virtual Result<void, WorkspaceStatus> registerApplication(const std::string& path) = 0;

    /// Tells the file browsers of the session that the item at an absolute path has changed, a
    /// directory with what is in it. Success means that it was told, not that anybody heard it.
    virtual Result<void, WorkspaceStatus> noteFileSystemChanged(const std::string& path) = 0;

    /// The absolute paths at which the machine's own volumes are mounted, "/" included; those of
    /// other machines are left out.
    virtual std::vector<std::string> mountedLocalVolumePaths() = 0;

    /// The number of the label that a person has given an item, 0 for none; nothing where the item
    /// is missing or cannot have a label. A final link is not followed.
    virtual std::optional<int> labelNumber(const std::string& path) = 0;

    /// Labels an item, with 0 not at all any more. Labels are numbered up to 7. A final link is not
    /// followed.
    virtual Result<void> setLabelNumber(const std::string& path, int number) = 0;

    /// Moves one item whole into the user's Trash, from where the desktop can restore it; a name
    /// that the Trash already holds gets a free one. A link is moved itself, not what it leads to.
    ///
    /// `directory` is the item's parent and `name` its name in there; `trash` is the Trash
    /// directory as the user knows it, which is made when nothing stands there. On failure the item
    /// is whole where it was: it is never deleted instead.
    virtual Result<void> recycle(const std::string& directory, const std::string& trash,
                                 const std::string& name) = 0;

    /// Makes the Trash directory as the user knows it, as recycle() does, where nothing stands
    /// there, for who moves items there otherwise. It is the user's own, closed to others. Where
    /// that cannot be done nothing happens: the move then fails.
    virtual void makeTrash(const std::string& trash) = 0;
};

} // namespace platform
