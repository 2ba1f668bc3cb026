#pragma once

#include "platform/linux/authorization/helper/HelperProtocol.h"
#include "platform/linux/authorization/helper/ProtectedItems.h"
#include "platform/linux/authorization/helper/Walk.h"
#include "platform/linux/posix/FileDescriptor.h"

#include <deque>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace qf::native::helper {

/// A file that only root may change, and the path by which it was asked for.
struct Tool {
    std::string path;
    Item file;
};

/// A tool that may be started, with its arguments.
struct Command {
    Tool tool;
    std::vector<std::string> arguments;
};

/// A name in a directory, and the path by which it was asked for. The item is missing when nothing
/// exists there.
struct Place {
    std::string path;
    Item directory;
    std::string name;
    std::optional<Item> item;
};

/// A removal of what is in places, as a tool does it that is told how.
struct Removal {
    Tool remover;
    std::vector<std::string> options;
    std::vector<Place> places;
};

/// A copy of an item, with the tool that removes what is left of one that fails.
struct Copy {
    Place source;
    Place destination;
    Tool remover;
};

/// A directory that a process was killed with. No other takes it while this exists.
struct AbandonedStage {
    std::string name;
    Item directory;
    FileDescriptor lock;
};

/// A move, which may have to copy.
struct Move {
    Copy copy;
    /// Where the item is instead of its place, when a process was killed that had begun the move.
    std::optional<AbandonedStage> stage = std::nullopt;
};

/// What is to be done to one item, and the content that it is to have by that, if any.
struct Change {
    void (*make)(const Change& change);
    Place place;
    std::optional<std::string> content = std::nullopt;
};

/// Directories that are to be made, the first in one that exists, for the path that was asked for.
struct Directories {
    std::string path;
    Item existing;
    std::deque<std::string> missing;
};

/// A change to nothing.
struct Nothing {};

using Task = std::variant<Command, Removal, Move, Copy, Change, Directories, Nothing>;

/// The path by which a tool finds a name in just this directory, wherever that has been moved to.
/// The tools that this process becomes or starts from now on have the directory open.
std::string heldPath(const Item& directory, const std::string& name);

/// What a request asks for, with the operands of what the helper does itself, and of rm, checked
/// and held. What must stay is neither taken away nor changed. Throws a Refusal.
Task prepare(const Request& request, ProtectedItems& staying);

} // namespace qf::native::helper
