#pragma once

#include "platform/linux/authorization/helper/HelperProtocol.h"
#include "platform/linux/authorization/helper/Walk.h"

#include <sys/types.h>

#include <deque>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace platform::native::helper {

/// A file that only root may change, and the path by which it was asked for.
struct Tool {
    std::string path;
    Item file;
};

/// A tool that may be started, with its arguments and the directories that these name by
/// descriptor.
struct Command {
    Tool tool;
    std::vector<std::string> arguments;
    std::vector<Item> directories;
};

/// A name in a directory. The item is missing when nothing stands there.
struct Place {
    Item directory;
    std::string name;
    std::optional<Item> item;
};

/// A copy of an item, with the tool that removes what is left of one that fails.
struct Copy {
    Place source;
    Place destination;
    Tool remover;
};

/// A move into a directory that others than root may change, which may have to copy.
struct Move {
    Copy copy;
};

/// What is to be done to one item.
struct Change {
    void (*make)(const Place& place);
    Place place;
};

/// Directories that are to be made, the first in one that exists.
struct Directories {
    Item existing;
    std::deque<std::string> missing;
};

/// A change to nothing.
struct Nothing {};

using Task = std::variant<Command, Move, Copy, Change, Directories, Nothing>;

/// The path by which a tool finds a name in just this directory, wherever that has been moved to.
/// The tools that this process becomes or starts from now on have the directory open.
std::string heldPath(const Item& directory, const std::string& name);

/// What a request asks for, made for this user, with the operands of what the helper does itself,
/// and of rm and mv, checked and held. Throws a Refusal.
Task prepare(const Request& request, uid_t user);

} // namespace platform::native::helper
