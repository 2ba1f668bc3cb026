#pragma once

#include "platform/linux/helper/HelperProtocol.h"
#include "platform/linux/helper/Walk.h"

#include <sys/types.h>

#include <cstddef>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace platform::native::helper {

/// A tool that may be started, with its arguments and the folders that these name by descriptor.
struct Command {
    std::string path;
    Item tool;
    std::vector<std::string> arguments;
    std::vector<Item> folders;
    /// Where a move ends that goes to a folder that others than root may change: the place in
    /// `folders`, and the item's name there.
    std::optional<std::pair<std::size_t, std::string>> staging;
};

/// Keeps the folder for the command and gives the path by which the tool finds the name in just
/// this folder, wherever that has been moved to.
std::string anchor(Command& command, Item folder, const std::string& name);

/// The command that a request asks for, made for this user, with the operands of rm and mv checked
/// and held. Throws a Refusal.
Command prepare(const Request& request, uid_t user);

} // namespace platform::native::helper
