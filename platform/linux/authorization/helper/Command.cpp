#include "platform/linux/authorization/helper/Command.h"

#include "platform/linux/authorization/helper/AbandonedStages.h"
#include "platform/linux/authorization/helper/Change.h"
#include "platform/linux/authorization/helper/Refusal.h"

#include <fcntl.h>

#include <algorithm>
#include <array>
#include <span>
#include <string_view>
#include <utility>

namespace qf::native::helper {

namespace {

Tool trustedTool(std::string_view path) {
    const std::string about(path);
    if (!path.starts_with('/')) {
        throw Refusal{Status::toolNotAbsolute, about};
    }
    bool isTrusted = true;
    auto way = walk(path, [&](const Item& item) { isTrusted = isTrusted && !item.isChangeable(); });
    if (!isTrusted) {
        throw Refusal{Status::toolNotTrusted, about};
    }
    if (!way || !S_ISREG(way->end.status.stx_mode) || (way->end.status.stx_mode & 0111U) == 0) {
        throw Refusal{Status::toolMissing, about};
    }
    return {about, std::move(way->end)};
}

bool isFile(const Tool& tool, const std::string& path) {
    const auto way = walk(path);
    return way && way->end.identity() == tool.file.identity();
}

/// Whether a tool is `name` by what it is called or by its file. Where the file is `other` as well,
/// one program is many tools, and goes by what it is called.
bool isTool(const Tool& tool, const std::string& name, const std::string& other) {
    return tool.path.ends_with("/" + name) ||
           (isFile(tool, "/usr/bin/" + name) && !isFile(tool, "/usr/bin/" + other));
}

/// Whose links on the way to an operand's directory may be followed.
enum class Links { owners, roots };

void requireLinks(const Way& way, Links links, std::string_view operand) {
    if (links == Links::roots ? !way.isRoots : !way.isOwners()) {
        throw Refusal{Status::itemRedirected, std::string(operand)};
    }
}

/// Returns the way to the directory of an operand, and the operand's name there; nullopt if the
/// directory cannot be reached.
std::optional<Place> locate(std::string_view operand, Links links) {
    const std::string about(operand);
    if (!operand.starts_with('/')) {
        throw Refusal{Status::commandUnknown, about};
    }
    const bool namesDirectory = operand.ends_with('/');
    while (operand.ends_with('/')) {
        operand.remove_suffix(1);
    }
    const std::size_t slash = operand.rfind('/');
    const std::string name(operand.empty() ? operand : operand.substr(slash + 1));
    if (name.empty() || name == "." || name == "..") {
        throw Refusal{Status::itemProtected, about};
    }
    auto way = walk(operand.substr(0, slash));
    if (!way || !way->end.isDirectory()) {
        return std::nullopt;
    }
    requireLinks(*way, links, about);
    auto item = findItem(way->end.descriptor.get(), name);
    if (item && item->isLink() && namesDirectory) {
        throw Refusal{Status::itemRedirected, about};
    }
    return Place{about, std::move(way->end), name, std::move(item)};
}

/// The arguments of a tool whose options are single letters without a value.
struct Words {
    std::vector<std::string> options;
    std::vector<std::string_view> operands;
};

/// Tells options, which are all in `letters`, and operands apart.
Words wordsOf(const Request& request, std::string_view letters) {
    Words words;
    bool isOver = false;
    for (const auto& argument : request.arguments) {
        if (isOver || !argument.starts_with('-')) {
            words.operands.push_back(argument);
        } else if (argument == "--") {
            isOver = true;
        } else if (argument.size() == 1 ||
                   argument.find_first_not_of(letters, 1) != std::string_view::npos) {
            throw Refusal{Status::commandUnknown,
                          std::string(request.tool) + " " + std::string(argument)};
        } else {
            words.options.emplace_back(argument);
        }
    }
    return words;
}

/// An operand whose directory does not exist is left out, for there is nothing to remove.
Task prepareRemoval(Tool tool, const Request& request, ProtectedItems& staying) {
    auto [options, operands] = wordsOf(request, "dfiIrRv");
    Removal removal{std::move(tool), std::move(options), {}};
    for (const auto operand : operands) {
        auto place = locate(operand, Links::owners);
        if (!place) {
            continue;
        }
        if (place->item && staying.contain(*place->item)) {
            throw Refusal{Status::itemProtected, std::string(operand)};
        }
        removal.places.push_back(std::move(*place));
    }
    return removal;
}

/// Where a move or copy to `operand` ends: in the directory at that path, or else at this very
/// place.
std::optional<Place> destinationOf(std::string_view operand, const std::string& sourceName,
                                   Links links) {
    if (!operand.starts_with('/')) {
        throw Refusal{Status::commandUnknown, std::string(operand)};
    }
    auto way = walk(operand);
    if (!way || !way->end.isDirectory()) {
        return locate(operand, links);
    }
    requireLinks(*way, links, operand);
    auto item = findItem(way->end.descriptor.get(), sourceName);
    return Place{std::string(operand) + "/" + sourceName, std::move(way->end), sourceName,
                 std::move(item)};
}

// ---- What the helper does itself ---------------------------------------------------------------

/// Replacing without a question is all that a move does: it may be made by another name first,
/// where nobody would see what it must not replace.
Task prepareMove(const Request& request, ProtectedItems& staying) {
    const auto operands = wordsOf(request, "fv").operands;
    if (operands.size() != 2) {
        throw Refusal{Status::commandUnknown, std::string(request.tool)};
    }
    auto source = locate(operands[0], Links::owners);
    auto destination =
        source ? destinationOf(operands[1], source->name, Links::owners) : std::nullopt;
    auto stage = destination ? findAbandonedItem(*source, *destination) : std::nullopt;
    if (!source || !source->item) {
        throw Refusal{Status::itemUnreachable, std::string(operands[0])};
    }
    if (!destination) {
        throw Refusal{Status::itemUnreachable, std::string(operands[1])};
    }
    if (staying.contain(*source->item) ||
        (destination->item && staying.contain(*destination->item))) {
        throw Refusal{Status::itemProtected, std::string(operands[0])};
    }
    return Move{{std::move(*source), std::move(*destination), trustedTool("/bin/rm")},
                std::move(stage)};
}

using Operands = std::span<const std::string_view>;

Task prepareCopy(Operands operands, ProtectedItems& staying) {
    auto source = locate(operands[0], Links::roots);
    if (!source || !source->item) {
        throw Refusal{Status::itemUnreachable, std::string(operands[0])};
    }
    auto destination = destinationOf(operands[1], source->name, Links::roots);
    if (!destination) {
        throw Refusal{Status::itemUnreachable, std::string(operands[1])};
    }
    if (destination->item && staying.contain(*destination->item)) {
        throw Refusal{Status::itemProtected, std::string(operands[1])};
    }
    return Copy{std::move(*source), std::move(*destination), trustedTool("/bin/rm")};
}

/// The item that is to be changed, none when it does not exist. One that has a name elsewhere might
/// be anybody's: its directory's owner may have put that name there.
std::optional<Place> locateItem(std::string_view operand) {
    auto place = locate(operand, Links::roots);
    if (!place || !place->item) {
        return std::nullopt;
    }
    const auto& item = *place->item;
    if (item.isLink()) {
        throw Refusal{Status::itemRedirected, std::string(operand)};
    }
    if (place->directory.isChangeable() && !item.isDirectory() && item.status.stx_nlink > 1) {
        throw Refusal{Status::itemForeign, std::string(operand)};
    }
    return place;
}

Task prepareTouch(Operands operands, ProtectedItems& /*staying*/) {
    auto place = locateItem(operands[0]);
    return place ? Task(Change{touch, std::move(*place)}) : Nothing{};
}

/// What others must not read, or own, is not put into a user's directory to be changed by that
/// user.
Place locateOwnItem(std::string_view operand, ProtectedItems& staying) {
    auto place = locateItem(operand);
    if (!place) {
        throw Refusal{Status::itemUnreachable, std::string(operand)};
    }
    if (staying.contain(*place->item)) {
        throw Refusal{Status::itemProtected, std::string(operand)};
    }
    if (place->directory.isChangeable() &&
        place->item->status.stx_uid != place->directory.status.stx_uid) {
        throw Refusal{Status::itemForeign, std::string(operand)};
    }
    return std::move(*place);
}

Task prepareMode(Operands operands, ProtectedItems& staying) {
    return Change{letEverybodyRead, locateOwnItem(operands[0], staying)};
}

Task prepareOwner(Operands operands, ProtectedItems& staying) {
    return Change{giveToRoot, locateOwnItem(operands[0], staying)};
}

Task prepareDirectories(Operands operands, ProtectedItems& /*staying*/) {
    std::string_view path = operands[0];
    if (!path.starts_with('/')) {
        throw Refusal{Status::commandUnknown, std::string(path)};
    }
    std::deque<std::string> missing;
    auto way = walk(path);
    for (; !way && !path.empty(); way = walk(path)) {
        const std::size_t slash = path.rfind('/');
        const std::string name(path.substr(slash + 1));
        path = path.substr(0, slash);
        if (name == "..") {
            throw Refusal{Status::itemUnreachable, std::string(operands[0])};
        }
        if (!name.empty() && name != ".") {
            missing.push_front(name);
        }
    }
    if (!way || !way->end.isDirectory()) {
        throw Refusal{Status::itemUnreachable, std::string(operands[0])};
    }
    requireLinks(*way, Links::roots, operands[0]);
    return Directories{std::string(operands[0]), std::move(way->end), std::move(missing)};
}

/// The words of a command line that the program sends, and what it asks for. Only one has the item
/// be of a given content. In any other words a
/// tool gets what it is told, as anything else that is run.
struct Form {
    std::string_view tool;
    std::span<const std::string_view> words;
    std::size_t operands;
    Task (*prepare)(Operands operands, ProtectedItems& staying);
    bool takesContent = false;
};

constexpr std::array<std::string_view, 3> copyWords = {"-f", "-p", "-R"};
constexpr std::array<std::string_view, 1> touchWords = {"-c"};
constexpr std::array<std::string_view, 1> modeWords = {"644"};
constexpr std::array<std::string_view, 1> ownerWords = {"root:wheel"};
constexpr std::array<std::string_view, 1> directoryWords = {"-p"};

constexpr std::array forms = {
    Form{"/cp", copyWords, 2, prepareCopy},
    Form{"/touch", touchWords, 1, prepareTouch},
    Form{"/chmod", modeWords, 1, prepareMode},
    Form{"/chown", ownerWords, 1, prepareOwner, true},
    Form{"/mkdir", directoryWords, 1, prepareDirectories},
};

bool hasForm(const Request& request, const Form& form) {
    return request.tool.ends_with(form.tool) &&
           request.arguments.size() == form.words.size() + form.operands &&
           std::equal(form.words.begin(), form.words.end(), request.arguments.begin());
}

} // namespace

std::string heldPath(const Item& directory, const std::string& name) {
    const int descriptor = directory.descriptor.get();
    ::fcntl(descriptor, F_SETFD, 0);
    return "/proc/self/fd/" + std::to_string(descriptor) + "/" + name;
}

Task prepare(const Request& request, ProtectedItems& staying) {
    Tool tool = trustedTool(request.tool);
    const auto* const form = std::find_if(forms.begin(), forms.end(), [&](const Form& candidate) {
        return hasForm(request, candidate);
    });
    if (request.content && (form == forms.end() || !form->takesContent)) {
        throw Refusal{Status::commandUnknown, tool.path};
    }
    if (isTool(tool, "rm", "mv")) {
        return prepareRemoval(std::move(tool), request, staying);
    }
    if (isTool(tool, "mv", "rm")) {
        return prepareMove(request, staying);
    }
    if (form != forms.end()) {
        Task task = form->prepare(Operands(request.arguments).subspan(form->words.size()), staying);
        if (request.content) {
            std::get<Change>(task).content = *request.content;
        }
        return task;
    }
    return Command{std::move(tool), {request.arguments.begin(), request.arguments.end()}};
}

} // namespace qf::native::helper
