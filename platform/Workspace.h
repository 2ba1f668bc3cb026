#pragma once

#include "platform/foundation/Error.h"

#include <optional>
#include <string>

namespace platform {

/// The desktop's view of the machine: its applications and its Trash.
/// Any thread may call every member.
class Workspace {
public:
    static constexpr const char* portName = "Workspace";
    virtual ~Workspace() = default;

    /// The absolute path of the installed application bundle with this identifier (compared
    /// without case), or nothing when the desktop knows none.
    virtual std::optional<std::string> applicationPath(const std::string& bundleIdentifier) = 0;

    /// Whether the path is a folder that a person sees as one item, such as an application bundle.
    virtual bool isFilePackage(const std::string& path) = 0;

    /// Moves one item whole into the user's Trash, from where the desktop can restore it; a name
    /// that the Trash already holds gets a free one. A link is moved itself, not what it leads to.
    ///
    /// `folder` is the item's parent and `name` its name in there; `trash` is the Trash folder as
    /// the user knows it, which is made when nothing stands there. On failure the item is whole
    /// where it was: it is never deleted instead.
    [[nodiscard]] virtual std::optional<Error>
    recycle(const std::string& folder, const std::string& trash, const std::string& name) = 0;

    /// Makes the Trash folder as the user knows it, as recycle() does, where nothing stands there,
    /// for who moves items there otherwise. It is the user's own, closed to others. Where that
    /// cannot be done nothing happens: the move then fails.
    virtual void makeTrash(const std::string& trash) = 0;
};

} // namespace platform
