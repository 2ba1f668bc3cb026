#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// What the program and its privileged helper say to each other, over a SOCK_SEQPACKET connection,
/// so that a message arrives whole or not at all.
///
/// A request is the tool's path and then its arguments, each followed by a zero byte, which none of
/// them can hold. In front there may be an empty string and the content that the item is to have
/// which the request is about. A request whose only string is empty runs nothing: it asks whether
/// the helper is there. Every request gets one Reply, in the order of the requests; one that says
/// `started` brings the read end of the tool's standard output with it (SCM_RIGHTS).
///
/// Only the process that made the connection and started the helper is answered. It says so with
/// each message (SCM_CREDENTIALS), for which it makes the helper's end ask (SO_PASSCRED) before it
/// sends the first. A message of any other ends the connection.
namespace qf::native::helper {

/// The bytes of a request, zero bytes included. A message of this size fits the smallest buffer
/// that Linux gives a socket by default.
inline constexpr std::size_t maximumRequestSize = 128UL * 1024;
inline constexpr std::size_t maximumArguments = 256;

/// What the helper answers. All but the first two are refusals.
enum class Status : std::int32_t {
    started = 0,
    ready = 1,
    requestMalformed = 2,
    requestTooLarge = 3,
    toolNotAbsolute = 4,
    toolMissing = 5,
    /// Others than root may change the tool, or a directory or a link on its way.
    toolNotTrusted = 6,
    /// An option or a number of operands that the helper does not know of this tool.
    commandUnknown = 7,
    /// A top-level directory, a home directory, a mount point, or a directory that one of them is
    /// in.
    itemProtected = 8,
    /// A link that its owner could not follow to the same effect.
    itemRedirected = 9,
    itemUnreachable = 10,
    startFailed = 11,
    /// An item in a directory of somebody's that is another's, or has another name elsewhere.
    itemForeign = 12,
    /// The plan of the program, which this helper is for, does not name it.
    notPlanned = 13,
};

struct Reply {
    std::array<char, 12> signature{'q', 'f', '-', 'h', 'e', 'l', 'p', 'e', 'r', ' ', '1', '\0'};
    Status status = Status::startFailed;
};
static_assert(sizeof(Reply) == 16);

/// The strings point into the message that they were read from, where each ends with a zero byte.
struct Request {
    std::string_view tool;
    std::vector<std::string_view> arguments;
    std::optional<std::string_view> content = std::nullopt;
};

inline constexpr std::string_view areYouThere{"\0", 1};

/// How the names of the directories begin in which the helper has items, for as long as that takes,
/// beside the places that they go to. By one that is left, the program knows that a helper was
/// killed.
inline constexpr std::string_view stagePrefix = ".qf-helper-";

/// The message for a request, or nothing when no helper would take it: it is too large, or a string
/// holds a zero byte.
inline std::optional<std::string>
encodeRequest(const std::string& tool, const std::vector<std::string>& arguments,
              const std::optional<std::string>& content = std::nullopt) {
    std::vector<std::string_view> strings;
    if (content) {
        strings = {"", *content};
    }
    strings.emplace_back(tool);
    strings.insert(strings.end(), arguments.begin(), arguments.end());
    std::size_t size = strings.size();
    bool hasZero = false;
    for (const auto string : strings) {
        size += string.size();
        hasZero = hasZero || string.find('\0') != std::string_view::npos;
    }
    if (hasZero || size > maximumRequestSize || arguments.size() > maximumArguments) {
        return std::nullopt;
    }
    std::string message;
    message.reserve(size);
    for (const auto string : strings) {
        message.append(string).push_back('\0');
    }
    return message;
}

/// Reads a message of any bytes. Returns `started` and fills the request if it is one, `ready` if
/// it asks whether the helper is there, otherwise why it is refused.
inline Status parseRequest(std::string_view message, Request& request) {
    if (message.size() > maximumRequestSize) {
        return Status::requestTooLarge;
    }
    if (message == areYouThere) {
        return Status::ready;
    }
    if (message.empty() || message.back() != '\0') {
        return Status::requestMalformed;
    }
    const auto takeString = [&] {
        const auto string = message.substr(0, message.find('\0'));
        message.remove_prefix(string.size() + 1);
        return string;
    };
    request.content.reset();
    if (message.front() == '\0') {
        takeString();
        request.content = takeString();
    }
    if (message.empty() || message.front() == '\0') {
        return Status::requestMalformed;
    }
    std::vector<std::string_view> strings;
    while (!message.empty()) {
        if (strings.size() > maximumArguments) {
            return Status::requestTooLarge;
        }
        strings.push_back(takeString());
    }
    request.tool = strings.front();
    request.arguments.assign(strings.begin() + 1, strings.end());
    return Status::started;
}

} // namespace qf::native::helper
