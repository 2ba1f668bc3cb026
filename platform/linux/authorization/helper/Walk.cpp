#include "platform/linux/authorization/helper/Walk.h"

#include "platform/linux/authorization/helper/Refusal.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <deque>
#include <utility>

namespace qf::native::helper {

namespace {

std::deque<std::string> components(std::string_view path) {
    std::deque<std::string> names;
    while (!path.empty()) {
        const std::size_t end = std::min(path.find('/'), path.size());
        const auto name = path.substr(0, end);
        if (!name.empty() && name != ".") {
            names.emplace_back(name);
        }
        path.remove_prefix(std::min(end + 1, path.size()));
    }
    return names;
}

/// Where a link leads; empty when that cannot be read.
std::string targetOf(const Item& link) {
    std::string target(PATH_MAX, '\0');
    const ssize_t size = ::readlinkat(link.descriptor.get(), "", target.data(), target.size());
    target.resize(size > 0 && size < PATH_MAX ? static_cast<std::size_t>(size) : 0);
    return target;
}

} // namespace

SystemResult<Item> openItem(int directory, const std::string& name) {
    constexpr unsigned needed = STATX_TYPE | STATX_MODE | STATX_UID | STATX_INO | STATX_NLINK;
    Item item;
    item.descriptor =
        FileDescriptor(::openat(directory, name.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
    if (item.descriptor && ::statx(item.descriptor.get(), "", AT_EMPTY_PATH | AT_STATX_DONT_SYNC,
                                   needed, &item.status) == 0) {
        return item;
    }
    const Errno reason = Errno::last();
    if (reason.is(ENOMEM, EMFILE, ENFILE)) {
        throw Refusal{Status::startFailed, name + ": " + std::to_string(reason.number())};
    }
    return Unexpected(reason);
}

std::optional<Item> findItem(int directory, const std::string& name) {
    auto item = openItem(directory, name);
    return item ? std::optional(*std::move(item)) : std::nullopt;
}

bool Way::isOwners() const {
    return std::all_of(redirectors.begin(), redirectors.end(),
                       [&](uid_t owner) { return owner != 0 && owner == end.status.stx_uid; });
}

std::optional<Way> walk(std::string_view path, const Visitor& visit) {
    constexpr int mostLinks = 40;
    auto root = openItem(AT_FDCWD, "/");
    if (!root) {
        return std::nullopt;
    }
    visit(*root);
    Way way{std::move(*root), {}, true};
    bool isChangeable = way.end.isChangeable();
    auto names = components(path);
    for (int links = 0; !names.empty();) {
        const std::string name = names.front();
        names.pop_front();
        auto next = openItem(way.end.descriptor.get(), name);
        if (!next) {
            return std::nullopt;
        }
        visit(*next);
        if (isChangeable && (next->isLink() || name == "..")) {
            way.redirectors.push_back(way.end.isEverybodys() ? 0 : way.end.status.stx_uid);
            way.isRoots = false;
        }
        way.isRoots = way.isRoots && (!next->isLink() || next->status.stx_uid == 0);
        if (!next->isLink()) {
            isChangeable = isChangeable || next->isChangeable();
            way.end = std::move(*next);
            continue;
        }
        const std::string target = targetOf(*next);
        if (target.empty() || ++links > mostLinks) {
            return std::nullopt;
        }
        if (target.front() == '/') {
            root = openItem(AT_FDCWD, "/");
            if (!root) {
                return std::nullopt;
            }
            way.end = std::move(*root);
            isChangeable = way.end.isChangeable();
        }
        const auto further = components(target);
        names.insert(names.begin(), further.begin(), further.end());
    }
    return way;
}

} // namespace qf::native::helper
