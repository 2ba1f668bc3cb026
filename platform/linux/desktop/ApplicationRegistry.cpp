#include "platform/linux/desktop/ApplicationRegistry.h"

#include "platform/foundation/Path.h"
#include "platform/foundation/Text.h"
#include "platform/linux/desktop/Bundles.h"
#include "platform/linux/desktop/LauncherEntry.h"
#include "platform/linux/files/AtomicFile.h"
#include "platform/linux/posix/Directories.h"
#include "platform/linux/system/UserAccount.h"

namespace qf::native {

namespace {

constexpr mode_t privateMode = 0700;

/// Returns a path in a form that a property list can hold.
Value valueOfPath(const std::string& path) {
    if (text::printable(path) == path) {
        return path;
    }
    Data data;
    for (const char character : path) {
        data.bytes.push_back(static_cast<std::byte>(character));
    }
    return data;
}

/// Returns an empty string for a value that is not a path.
std::string pathOfValue(const Value& value) {
    if (const auto* text = value.as<std::string>()) {
        return *text;
    }
    std::string path;
    if (const auto* data = value.as<Data>()) {
        for (const std::byte byte : data->bytes) {
            path += static_cast<char>(byte);
        }
    }
    return path;
}

/// Returns the paths of a registry entry.
std::vector<std::string> pathsIn(const Value& entry) {
    std::vector<std::string> paths;
    if (const auto* values = entry.as<Value::Array>()) {
        for (const auto& value : *values) {
            paths.push_back(pathOfValue(value));
        }
    }
    return paths;
}

} // namespace

std::string ApplicationRegistry::dataDirectory() {
    return absolutePathFromEnvironment("XDG_DATA_HOME")
        .value_or(path::appending(account_.homeDirectory(), ".local/share"));
}

std::string ApplicationRegistry::file() {
    return path::appending(dataDirectory(), "quillfen/applications.plist");
}

bool ApplicationRegistry::stillExists(const std::string& bundle, const std::string& identifier) {
    return bundle.starts_with('/') &&
           text::lowercased(bundleIdentifier(bundle, propertyLists_)) == identifier;
}

Result<void, WorkspaceStatus> ApplicationRegistry::add(const std::string& bundle) {
    if (!bundle.starts_with('/') || bundle.find('\0') != std::string::npos || !isPackage(bundle)) {
        return Unexpected(kLSApplicationNotFoundErr);
    }
    const auto information = bundleInformation(bundle, propertyLists_);
    const auto identifier = text::lowercased(identifierIn(information));
    if (identifier.empty()) {
        return Unexpected(kLSDataErr);
    }
    auto recorded = record(bundle, identifier);
    if (recorded && hasDesktop() && !writeLauncherEntry(bundle, information)) {
        return Unexpected(kLSUnknownErr);
    }
    return recorded;
}

Result<void, WorkspaceStatus> ApplicationRegistry::record(const std::string& bundle,
                                                          const std::string& identifier) {
    const auto directory = path::deletingLastComponent(file());
    if (!makeDirectories(directory, privateMode)) {
        return Unexpected(kLSUnknownErr);
    }
    const auto lock = lockedDirectory(directory);
    if (!lock) {
        return Unexpected(kLSUnknownErr);
    }
    const auto former = propertyLists_.read(file());
    Value::Dictionary entries{{identifier, Value::Array{valueOfPath(bundle)}}};
    if (const auto* formerEntries = former.as<Value::Dictionary>()) {
        for (const auto& [formerIdentifier, entry] : *formerEntries) {
            for (const auto& path : pathsIn(entry)) {
                if (path != bundle && stillExists(path, formerIdentifier)) {
                    auto& kept =
                        entries.try_emplace(formerIdentifier, Value::Array()).first->second;
                    kept.as<Value::Array>()->push_back(valueOfPath(path));
                }
            }
        }
    }
    if (!propertyLists_.writeAtomically(entries, file())) {
        return Unexpected(kLSUnknownErr);
    }
    return {};
}

SystemResult<void> ApplicationRegistry::writeLauncherEntry(const std::string& bundle,
                                                           const Value& information) {
    const auto entry = launcherEntry(bundle, information);
    if (!entry) {
        return {};
    }
    const auto directory = path::appending(dataDirectory(), "applications");
    auto made = makeDirectories(directory, privateMode);
    return made ? replaceFile(path::appending(directory, entry->fileName), entry->content) : made;
}

std::optional<std::string> ApplicationRegistry::find(const std::string& identifier) {
    const auto wanted = text::lowercased(identifier);
    const auto registry = propertyLists_.read(file());
    for (auto& path : pathsIn(registry[wanted])) {
        if (stillExists(path, wanted)) {
            return std::move(path);
        }
    }
    return std::nullopt;
}

} // namespace qf::native
