#include "platform/linux/helper/Command.h"

#include "platform/linux/helper/ProtectedItems.h"
#include "platform/linux/helper/Refusal.h"

#include <string_view>

namespace platform::native::helper {

namespace {

/// A name in a folder. The item is missing when nothing stands there.
struct Place {
    Item folder;
    std::string name;
    std::optional<Item> item;
};

Item trustedTool(std::string_view path) {
    if (!path.starts_with('/')) {
        throw Refusal{Status::toolNotAbsolute, std::string(path)};
    }
    bool isTrusted = true;
    auto way = walk(path, [&](const Item& item) { isTrusted = isTrusted && !item.isChangeable(); });
    if (!isTrusted) {
        throw Refusal{Status::toolNotTrusted, std::string(path)};
    }
    if (!way || !S_ISREG(way->end.status.stx_mode) || (way->end.status.stx_mode & 0111U) == 0) {
        throw Refusal{Status::toolMissing, std::string(path)};
    }
    return std::move(way->end);
}

bool isTool(const Command& command, const std::string& name) {
    if (command.path.ends_with("/" + name)) {
        return true;
    }
    const auto known = walk("/usr/bin/" + name);
    return known && known->end.identity() == command.tool.identity();
}

/// The way to the folder of an operand, and the operand's name there. Gives nothing when the folder
/// cannot be reached.
std::optional<Place> locate(std::string_view operand) {
    const std::string about(operand);
    if (!operand.starts_with('/')) {
        throw Refusal{Status::commandUnknown, about};
    }
    const bool namesFolder = operand.ends_with('/');
    while (operand.ends_with('/')) {
        operand.remove_suffix(1);
    }
    const std::size_t slash = operand.rfind('/');
    const std::string name(operand.empty() ? operand : operand.substr(slash + 1));
    if (name.empty() || name == "." || name == "..") {
        throw Refusal{Status::itemProtected, about};
    }
    auto way = walk(operand.substr(0, slash));
    if (!way || !way->end.isFolder()) {
        return std::nullopt;
    }
    if (!way->isHonest()) {
        throw Refusal{Status::itemRedirected, about};
    }
    auto item = openItem(way->end.descriptor.get(), name);
    if (item && item->isLink() && namesFolder) {
        throw Refusal{Status::itemRedirected, about};
    }
    return Place{std::move(way->end), name, std::move(item)};
}

/// Takes the operands out of a command whose options are single letters without a value, all of
/// them in `letters`, and leaves the options and "--".
std::vector<std::string> takeOperands(Command& command, std::string_view letters) {
    std::vector<std::string> options;
    std::vector<std::string> operands;
    bool isOver = false;
    for (auto& argument : command.arguments) {
        if (isOver || !argument.starts_with('-')) {
            operands.push_back(std::move(argument));
        } else if (argument == "--") {
            isOver = true;
        } else if (argument.size() == 1 ||
                   argument.find_first_not_of(letters, 1) != std::string::npos) {
            throw Refusal{Status::commandUnknown, command.path + " " + argument};
        } else {
            options.push_back(std::move(argument));
        }
    }
    options.emplace_back("--");
    command.arguments = std::move(options);
    return operands;
}

/// An operand whose folder does not exist is left out, for there is nothing to remove.
void prepareRemoval(Command& command, const ProtectedItems& staying) {
    for (const auto& operand : takeOperands(command, "dfiIrRv")) {
        auto place = locate(operand);
        if (!place) {
            continue;
        }
        if (place->item && staying.contain(*place->item)) {
            throw Refusal{Status::itemProtected, operand};
        }
        const std::string name = place->name;
        command.arguments.push_back(anchor(command, std::move(place->folder), name));
    }
}

/// Where a move to `operand` ends: in the folder that stands there, or else at this very place.
std::optional<Place> destinationOf(std::string_view operand, const std::string& sourceName) {
    if (!operand.starts_with('/')) {
        throw Refusal{Status::commandUnknown, std::string(operand)};
    }
    auto way = walk(operand);
    if (!way || !way->end.isFolder()) {
        return locate(operand);
    }
    if (!way->isHonest()) {
        throw Refusal{Status::itemRedirected, std::string(operand)};
    }
    auto item = openItem(way->end.descriptor.get(), sourceName);
    return Place{std::move(way->end), sourceName, std::move(item)};
}

/// Replacing without a question is all that a move does: it may be made by another name first,
/// where the tool would not see what it must not replace.
void prepareMove(Command& command, const ProtectedItems& staying) {
    const auto operands = takeOperands(command, "fv");
    if (operands.size() != 2) {
        throw Refusal{Status::commandUnknown, command.path};
    }
    auto source = locate(operands[0]);
    if (!source || !source->item) {
        throw Refusal{Status::itemUnreachable, operands[0]};
    }
    auto destination = destinationOf(operands[1], source->name);
    if (!destination) {
        throw Refusal{Status::itemUnreachable, operands[1]};
    }
    if (staying.contain(*source->item) ||
        (destination->item && staying.contain(*destination->item))) {
        throw Refusal{Status::itemProtected, operands[0]};
    }
    const std::string name = destination->name;
    const bool staged = destination->folder.isChangeable();
    command.arguments.insert(command.arguments.begin(), "-T");
    command.arguments.push_back(anchor(command, std::move(source->folder), source->name));
    command.arguments.push_back(anchor(command, std::move(destination->folder), name));
    if (staged) {
        command.staging.emplace(command.folders.size() - 1, name);
    }
}

} // namespace

std::string anchor(Command& command, Item folder, const std::string& name) {
    const std::string number = std::to_string(folder.descriptor.get());
    command.folders.push_back(std::move(folder));
    return "/proc/self/fd/" + number + "/" + name;
}

Command prepare(const Request& request, uid_t user) {
    Command command{.path = std::string(request.tool),
                    .tool = trustedTool(request.tool),
                    .arguments = {request.arguments.begin(), request.arguments.end()},
                    .folders = {},
                    .staging = {}};
    if (isTool(command, "rm")) {
        prepareRemoval(command, ProtectedItems(user));
    } else if (isTool(command, "mv")) {
        prepareMove(command, ProtectedItems(user));
    }
    return command;
}

} // namespace platform::native::helper
