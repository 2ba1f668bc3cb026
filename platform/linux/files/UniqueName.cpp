#include "platform/linux/files/UniqueName.h"

#include "platform/foundation/Path.h"
#include "platform/linux/files/ItemTransfer.h"

#include <cerrno>
#include <climits>

namespace qf::native {

namespace {

constexpr int mostNamesakes = 100000;

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
    std::string candidate = source.name;
    for (int count = 2; count <= mostNamesakes; ++count) {
        const auto moved = moveItem(source, {destination, candidate});
        if (moved) {
            return candidate;
        }
        if (!moved.error().number.is(EEXIST)) {
            return Unexpected(moved.error().number);
        }
        candidate = numberedName(source.name, count);
    }
    return Unexpected(Errno(EEXIST));
}

} // namespace qf::native
