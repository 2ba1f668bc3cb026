#pragma once

#include "platform/FileSystem.h"
#include "platform/Workspace.h"
#include "platform/foundation/Path.h"

#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// Files and folders that a test describes; nothing is on disk. Every system tool is there.
class DescribedFileSystem : public platform::FileSystem {
public:
    /// What exists and is no folder.
    std::set<std::string> files;
    /// What exists and is a folder, with the names in it; none makes it unreadable.
    std::map<std::string, std::optional<std::vector<std::string>>> folders;
    std::set<std::string> tools{"/bin/rm",         "/bin/mv",        "/bin/cp",
                                "/bin/mkdir",      "/bin/chmod",     "/bin/launchctl",
                                "/usr/sbin/chown", "/usr/bin/touch", "/usr/bin/ditto"};
    /// Tools of this machine that stand for a path at which nothing is.
    std::set<std::string> standIns;
    /// What clearing a locked flag, and deleting, fail with.
    std::map<std::string, platform::Error> lockErrors;
    std::map<std::string, platform::Error> removeErrors;
    /// What any other change, named as in `changes`, fails with.
    std::map<std::string, platform::Error> failures;
    /// What every writing of a file fails with.
    std::optional<platform::Error> writeError;
    /// The creation dates that were set.
    std::map<std::string, platform::Date> creationDates;
    /// What is known of an item beyond its kind.
    std::map<std::string, platform::ItemAttributes> attributes;
    /// What exists and may not be written to.
    std::set<std::string> readOnly;

    /// Every change that was asked for, in order.
    std::vector<std::string> changes;

    bool exists(const std::string& path) override {
        return files.contains(path) || folders.contains(path) || tools.contains(path);
    }
    bool isDirectory(const std::string& path) override { return folders.contains(path); }
    bool isExecutable(const std::string& path) override {
        return tools.contains(path) || standIns.contains(path);
    }
    bool isWritable(const std::string& path) override {
        return exists(path) && !readOnly.contains(path);
    }
    std::optional<platform::ItemIdentity> identityOfItem(const std::string& path) override {
        return exists(path)
                   ? std::optional(platform::ItemIdentity{.number = std::hash<std::string>()(path)})
                   : std::nullopt;
    }
    std::optional<std::string> destinationOfSymbolicLink(const std::string& /*path*/) override {
        return std::nullopt;
    }
    std::optional<platform::ItemAttributes> attributesOfItem(const std::string& path) override {
        const auto found = attributes.find(path);
        const auto known = found != attributes.end()
                               ? found->second
                               : platform::ItemAttributes{.kind = kindOf(path)};
        return exists(path) ? std::optional(known) : std::nullopt;
    }
    std::optional<std::vector<platform::DirectoryEntry>>
    contentsOfDirectory(const std::string& path) override {
        const auto found = folders.find(path);
        if (found == folders.end() || !found->second) {
            return std::nullopt;
        }
        std::vector<platform::DirectoryEntry> entries;
        for (const auto& name : *found->second) {
            entries.push_back({name, kindOf(platform::path::appending(path, name))});
        }
        return entries;
    }
    std::optional<std::vector<platform::DirectoryEntry>>
    contentsOfDirectoryWithSizes(const std::string& path) override {
        auto entries = contentsOfDirectory(path);
        if (!entries) {
            return std::nullopt;
        }
        for (auto& entry : *entries) {
            entry.size = attributesOfItem(platform::path::appending(path, entry.name))->size;
        }
        return entries;
    }
    std::optional<platform::Error> createDirectory(const std::string& path) override {
        const auto error = change("create", path);
        if (!error) {
            folders.try_emplace(path, std::vector<std::string>());
        }
        return error;
    }
    std::optional<platform::Error> moveItem(const std::string& path,
                                            const std::string& newPath) override {
        const auto error = change("move", path, newPath);
        if (!error) {
            files.erase(path);
            files.insert(newPath);
        }
        return error;
    }
    std::optional<platform::Error> copyItem(const std::string& path,
                                            const std::string& newPath) override {
        const auto error = change("copy", path, newPath);
        if (!error) {
            files.insert(newPath);
        }
        return error;
    }
    std::optional<platform::Error> writeAtomically(const std::string& path,
                                                   std::string_view /*content*/) override {
        const auto error = change("write", path);
        if (!error && !writeError) {
            files.insert(path);
        }
        return error ? error : writeError;
    }
    std::optional<platform::Error> setModificationDate(const std::string& path,
                                                       platform::Date /*date*/) override {
        return change("date", path);
    }
    std::optional<platform::Error> setCreationDate(const std::string& path,
                                                   platform::Date date) override {
        creationDates[path] = date;
        return change("creation date", path);
    }
    std::optional<platform::Error> setPosixPermissions(const std::string& path,
                                                       unsigned /*permissions*/) override {
        return change("permissions", path);
    }
    std::optional<platform::Error> setImmutable(const std::string& path, bool immutable) override {
        changes.push_back((immutable ? "lock " : "unlock ") + path);
        if (const auto found = lockErrors.find(path); found != lockErrors.end()) {
            return found->second;
        }
        return exists(path) ? std::nullopt : std::optional(missing(path));
    }
    std::optional<platform::Error> removeItem(const std::string& path) override {
        changes.push_back("remove " + path);
        if (const auto found = removeErrors.find(path); found != removeErrors.end()) {
            return found->second;
        }
        const bool removed = files.erase(path) + folders.erase(path) > 0;
        return removed ? std::nullopt : std::optional(missing(path));
    }

private:
    platform::ItemKind kindOf(const std::string& path) const {
        return folders.contains(path) ? platform::ItemKind::folder : platform::ItemKind::file;
    }

    std::optional<platform::Error> change(const std::string& what, const std::string& about) {
        changes.push_back(std::string(what).append(" ").append(about));
        const auto found = failures.find(changes.back());
        return found == failures.end() ? std::nullopt : std::optional(found->second);
    }

    /// A change that needs an item and takes a free path.
    std::optional<platform::Error> change(const std::string& what, const std::string& path,
                                          const std::string& newPath) {
        auto error = change(what, path + " " + newPath);
        if (!error && !exists(path)) {
            error = missing(path);
        } else if (!error && exists(newPath)) {
            error = {.domain = "NSCocoaErrorDomain",
                     .code = 516,
                     .localizedDescription = "There is something at " + newPath + "."};
        }
        return error;
    }

    static platform::Error missing(const std::string& path) {
        return {.domain = "NSCocoaErrorDomain",
                .code = 4,
                .localizedDescription = "There is nothing at " + path + "."};
    }
};

/// A Trash that remembers what it is given and a desktop without applications.
class RecordingWorkspace : public platform::Workspace {
public:
    /// Every item that was to be recycled, as folder, Trash folder and name.
    std::vector<std::vector<std::string>> recycled;
    /// Every Trash folder that was to be there.
    std::vector<std::string> trashesMade;
    std::set<std::string> packages;
    /// What recycling an item, named by its path, fails with.
    std::map<std::string, platform::Error> errors;
    /// The items that were said to have changed, and what that gives.
    std::vector<std::string> changed;
    platform::WorkspaceStatus changedStatus = platform::noErr;
    /// The bundles that were registered, and what that gives.
    std::vector<std::string> registered;
    platform::WorkspaceStatus registeredStatus = platform::noErr;
    std::vector<std::string> volumes{"/"};
    /// The labels of items; an item that is not here has none and can have none.
    std::map<std::string, int> labels;

    std::optional<std::string> applicationPath(const std::string& /*bundleIdentifier*/) override {
        return std::nullopt;
    }
    bool isFilePackage(const std::string& path) override { return packages.contains(path); }
    platform::WorkspaceStatus registerApplication(const std::string& path) override {
        registered.push_back(path);
        return registeredStatus;
    }
    platform::WorkspaceStatus noteFileSystemChanged(const std::string& path) override {
        changed.push_back(path);
        return changedStatus;
    }
    std::vector<std::string> mountedLocalVolumePaths() override { return volumes; }
    std::optional<int> labelNumber(const std::string& path) override {
        const auto found = labels.find(path);
        return found == labels.end() ? std::nullopt : std::optional(found->second);
    }
    std::optional<platform::Error> setLabelNumber(const std::string& path, int number) override {
        const auto found = labels.find(path);
        if (found == labels.end()) {
            return platform::Error{.localizedDescription = "no label for " + path};
        }
        found->second = number;
        return std::nullopt;
    }
    std::optional<platform::Error> recycle(const std::string& folder, const std::string& trash,
                                           const std::string& name) override {
        recycled.push_back({folder, trash, name});
        const auto found = errors.find(folder + "/" + name);
        return found == errors.end() ? std::nullopt : std::optional(found->second);
    }
    void makeTrash(const std::string& trash) override { trashesMade.push_back(trash); }
};
