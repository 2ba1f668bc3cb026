#include "platform/linux/desktop/Trashinfo.h"

#include "platform/foundation/Path.h"
#include "platform/linux/files/UniqueName.h"
#include "platform/linux/system/Clock.h"
#include "platform/linux/system/GLibOwners.h"

#include <glib.h>

#include <array>
#include <cerrno>
#include <climits>
#include <ctime>
#include <utility>

namespace qf::native {

namespace {

/// Other programs ignore keys that freedesktop.org does not define.
constexpr std::array<std::pair<Mover, std::string_view>, 2> moverLines{{
    {Mover::self, "X-Quillfen-Mover=self\n"},
    {Mover::administrator, "X-Quillfen-Mover=administrator\n"},
}};

std::string encoded(const std::string& path) {
    const OwnedText text(g_uri_escape_string(path.c_str(), "/", FALSE));
    return text.get();
}

std::string deletionDate() {
    Clock clock;
    const auto now = clock.localTime(clock.now());
    std::array<char, 32> date{};
    return {date.data(), std::strftime(date.data(), date.size(), "%Y-%m-%dT%H:%M:%S", &now)};
}

} // namespace

std::string trashinfoText(const std::string& path, Mover mover) {
    std::string text =
        "[Trash Info]\nPath=" + encoded(path) + "\nDeletionDate=" + deletionDate() + '\n';
    for (const auto& [which, line] : moverLines) {
        if (which == mover) {
            text += line;
        }
    }
    return text;
}

std::string recordedPathIn(std::string_view trashinfo) {
    constexpr std::string_view key = "\nPath=";
    const auto begin = trashinfo.find(key);
    if (begin == std::string_view::npos) {
        return {};
    }
    trashinfo.remove_prefix(begin + key.size());
    const std::string value(trashinfo.substr(0, trashinfo.find('\n')));
    const OwnedText path(g_uri_unescape_string(value.c_str(), nullptr));
    return path ? path.get() : "";
}

SystemResult<Mover> moverIn(std::string_view trashinfo) {
    for (const auto& [which, line] : moverLines) {
        if (trashinfo.ends_with(line)) {
            return which;
        }
    }
    return Unexpected(Errno(ENOENT));
}

std::string trashinfoName(const std::string& name) {
    return name + trashinfoExtension;
}

std::string nameInTrash(const std::string& name, int count) {
    const auto room = NAME_MAX - std::string_view(trashinfoExtension).size();
    const auto number = count > 1 ? '.' + std::to_string(count) : std::string();
    const auto extension = path::extension(name);
    const auto tail = extension.empty() ? number : number + '.' + extension;
    return tail.size() < room ? cutTo(path::deletingExtension(name), room - tail.size()) + tail
                              : cutTo(name, room - number.size()) + number;
}

} // namespace qf::native
