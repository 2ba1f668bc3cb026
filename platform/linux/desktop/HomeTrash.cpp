#include "platform/linux/desktop/HomeTrash.h"

#include "platform/foundation/Path.h"
#include "platform/linux/posix/Directories.h"
#include "platform/linux/posix/OpenDirectory.h"

#include <fcntl.h>
#include <glib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <optional>
#include <string_view>

namespace qf::native {

namespace {

/// Returns the target of a link; no value if there is no link at the path.
std::optional<std::string> targetOf(const std::string& link) {
    std::array<char, PATH_MAX> target{};
    const auto length = ::readlink(link.c_str(), target.data(), target.size());
    return length < 0 ? std::nullopt
                      : std::optional(std::string(target.data(), static_cast<std::size_t>(length)));
}

bool isSameDirectory(const std::string& one, const std::string& other) {
    struct stat first {};
    struct stat second {};
    return ::stat(one.c_str(), &first) == 0 && ::stat(other.c_str(), &second) == 0 &&
           fileIdOf(first) == fileIdOf(second);
}

/// What ends the targets of our links. It leads to the same directory as "/Trash/files", but is a
/// spelling that nobody else uses: a link cannot carry any other sign of who has made it.
constexpr std::string_view endOfOwnTarget = "/Trash/./files";

std::string ownTarget() {
    return std::string(g_get_user_data_dir()).append(endOfOwnTarget);
}

/// Returns whether a link with this target is ours, or is made for the present home trash.
bool isForHomeTrash(std::string_view target) {
    return (target.starts_with('/') && target.ends_with(endOfOwnTarget)) ||
           target == homeTrashFiles();
}

SystemResult<void> replaceLink(const std::string& link) {
    const auto replacement = link + '.' + std::to_string(::getpid());
    if (auto made = checked(::symlink(ownTarget().c_str(), replacement.c_str())); !made) {
        return made;
    }
    auto renamed = checked(std::rename(replacement.c_str(), link.c_str()));
    if (!renamed) {
        ::unlink(replacement.c_str());
    }
    return renamed;
}

} // namespace

std::string homeTrash() {
    return path::appending(g_get_user_data_dir(), "Trash");
}

std::string homeTrashFiles() {
    return path::appending(homeTrash(), "files");
}

SystemResult<void> makeHomeTrash() {
    constexpr mode_t privateMode = 0700;
    auto made = makeDirectories(homeTrashFiles(), privateMode);
    return made ? makeDirectories(path::appending(homeTrash(), "info"), privateMode) : made;
}

SystemResult<void> linkToHomeTrash(const std::string& link) {
    const auto target = targetOf(link);
    if (!target && errno != ENOENT) { // Something else is there.
        return {};
    }
    if (target && !isForHomeTrash(*target)) {
        return {};
    }
    if (auto made = makeHomeTrash(); !made) {
        return made;
    }
    if (target) {
        return isSameDirectory(link, homeTrashFiles()) ? SystemResult<void>() : replaceLink(link);
    }
    auto linked = checked(::symlink(ownTarget().c_str(), link.c_str()));
    return failedWith(linked, EEXIST) ? SystemResult<void>() : linked;
}

} // namespace qf::native
