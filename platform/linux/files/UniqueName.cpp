#include "platform/linux/files/UniqueName.h"

#include "platform/foundation/Path.h"
#include "platform/linux/files/ItemTransfer.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <set>

namespace qf::native {

namespace {

/// Returns the `count`th name to try, from 1 on.
std::string uniqueName(const std::string& name, int count) {
    return count == 1 ? name : numberedName(name, count);
}

} // namespace

std::string cutTo(std::string text, std::size_t size) {
    if (text.size() <= size) {
        return text;
    }
    const auto continues = [](char c) { return (static_cast<unsigned char>(c) & 0xC0U) == 0x80U; };
    while (size > 0 && continues(text[size])) {
        --size;
    }
    text.resize(size);
    return text;
}

std::string numberedName(const std::string& name, int count) {
    const auto extension = path::extension(name);
    auto suffix = ' ' + std::to_string(count);
    if (!extension.empty()) {
        suffix += '.' + extension;
    }
    if (suffix.size() >= NAME_MAX) { // No room for a name: treat it as having no extension.
        suffix = ' ' + std::to_string(count);
        return cutTo(name, NAME_MAX - suffix.size()) + suffix;
    }
    return cutTo(path::deletingExtension(name), NAME_MAX - suffix.size()) + suffix;
}

SystemResult<std::string> moveToUniqueName(const EntryRef& source, int destination) {
    constexpr int mostAttempts = 1000; // while others take the free names
    const auto isTaken = [&](int number) {
        const auto name = uniqueName(source.name, number);
        return ::faccessat(destination, name.c_str(), F_OK, AT_SYMLINK_NOFOLLOW) == 0;
    };
    int count = 1;
    for (int attempt = 0; attempt < mostAttempts; ++attempt) {
        // What a killed process has copied here probably has the last name that is taken.
        for (const int number : std::set{std::max(count - 1, 1), count}) {
            auto name = uniqueName(source.name, number);
            const auto moved = moveItem(source, {destination, name});
            if (moved) {
                return name;
            }
            if (!moved.error().number.is(EEXIST)) {
                return Unexpected(moved.error().number);
            }
        }
        count = freeNumber(count + 1, isTaken);
    }
    return Unexpected(Errno(EEXIST));
}

} // namespace qf::native
