#include "platform/linux/desktop/LauncherEntry.h"

#include "platform/foundation/Path.h"
#include "platform/foundation/Text.h"
#include "platform/linux/posix/Directories.h"
#include "platform/linux/system/GLibOwners.h"

#include <glib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <string_view>

namespace qf::native {

namespace {

/// The default if the environment does not name any.
constexpr std::string_view dataDirectories = "/usr/local/share:/usr/share";

constexpr std::string_view fileNamePrefix = "com.quillfen.registered.";

std::string textOf(const Value& value) {
    const auto* text = value.as<std::string>();
    return text == nullptr ? std::string() : *text;
}

/// Returns whether the identifier may be part of a file name.
bool isPlain(std::string_view identifier) {
    constexpr std::size_t longest = 200;
    return !identifier.empty() && identifier.size() <= longest &&
           std::all_of(identifier.begin(), identifier.end(), [](char c) {
               return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                      c == '-' || c == '_' || c == '.';
           });
}

/// Returns the program of a bundle; empty if it cannot be run or is outside the bundle.
std::string programOf(const std::string& bundle, const Value& information) {
    const auto name = textOf(information["CFBundleExecutable"]);
    // Without a slash only "." and ".." lead elsewhere, to directories.
    if (name.find('/') != std::string::npos || name.find('\0') != std::string::npos) {
        return "";
    }
    auto program = path::appending(path::appending(bundle, "Contents/MacOS"), name);
    struct stat status {};
    const bool runs = ::lstat(program.c_str(), &status) == 0 && S_ISREG(status.st_mode) &&
                      ::access(program.c_str(), X_OK) == 0;
    return runs ? program : "";
}

/// Returns whether all readers of entries understand the path of a program: "=" is not allowed, and
/// some look for the program before they expand "%".
bool canBeInEntry(const std::string& program) {
    return text::printable(program) == program && program.find_first_of("%=") == std::string::npos;
}

/// Returns a command line of this one program, quoted for the readers of entries.
std::string commandLine(std::string_view program) {
    constexpr std::string_view quoted = "\"`$\\";
    std::string result = "\"";
    for (const char character : program) {
        if (quoted.find(character) != std::string_view::npos) {
            result += '\\';
        }
        result += character;
    }
    return result + '"';
}

std::string displayName(const std::string& bundle, const Value& information) {
    for (const char* key : {"CFBundleDisplayName", "CFBundleName"}) {
        if (const auto name = textOf(information[key]); !name.empty()) {
            return text::printable(name);
        }
    }
    return text::printable(path::deletingExtension(path::lastComponent(bundle)));
}

} // namespace

bool hasDesktop() {
    const char* variable = std::getenv("XDG_DATA_DIRS");
    std::string_view directories = variable == nullptr ? "" : variable;
    for (directories = directories.empty() ? dataDirectories : directories; !directories.empty();) {
        const auto directory = directories.substr(0, directories.find(':'));
        if (isDirectory(path::appending(directory, "xsessions")) ||
            isDirectory(path::appending(directory, "wayland-sessions"))) {
            return true;
        }
        directories.remove_prefix(std::min(directory.size() + 1, directories.size()));
    }
    return false;
}

std::optional<LauncherEntry> launcherEntry(const std::string& bundle, const Value& information) {
    const auto identifier = textOf(information["CFBundleIdentifier"]);
    const auto program = programOf(bundle, information);
    if (!isPlain(identifier) || program.empty() || !canBeInEntry(program)) {
        return std::nullopt;
    }
    const std::unique_ptr<GKeyFile, decltype(&g_key_file_unref)> file(g_key_file_new(),
                                                                      &g_key_file_unref);
    const auto set = [&](const char* key, const std::string& value) {
        g_key_file_set_string(file.get(), "Desktop Entry", key, value.c_str());
    };
    set("Type", "Application");
    set("Name", displayName(bundle, information));
    set("Exec", commandLine(program));
    set("TryExec", program);
    gsize length = 0;
    const OwnedText content(g_key_file_to_data(file.get(), &length, nullptr));
    return LauncherEntry{std::string(fileNamePrefix) + identifier + ".desktop",
                         {content.get(), length}};
}

} // namespace qf::native
