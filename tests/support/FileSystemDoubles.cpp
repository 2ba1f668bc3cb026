#include "tests/support/FileSystemDoubles.h"

#include "platform/foundation/Path.h"

#include <functional>

bool DescribedFileSystem::exists(const std::string& path) {
    return files.contains(path) || folders.contains(path) || tools.contains(path);
}

bool DescribedFileSystem::isDirectory(const std::string& path) {
    return folders.contains(path);
}

bool DescribedFileSystem::isExecutable(const std::string& path) {
    return tools.contains(path) || standIns.contains(path);
}

bool DescribedFileSystem::isWritable(const std::string& path) {
    return exists(path) && !readOnly.contains(path);
}

std::optional<platform::ItemIdentity> DescribedFileSystem::identityOfItem(const std::string& path) {
    return exists(path)
               ? std::optional(platform::ItemIdentity{.number = std::hash<std::string>()(path)})
               : std::nullopt;
}

std::optional<std::string> DescribedFileSystem::destinationOfSymbolicLink(const std::string& path) {
    const auto found = links.find(path);
    return found == links.end() ? std::nullopt : std::optional(found->second);
}

std::optional<platform::ItemAttributes>
DescribedFileSystem::attributesOfItem(const std::string& path) {
    if (!exists(path)) {
        return std::nullopt;
    }
    const auto found = attributes.find(path);
    return found != attributes.end() ? found->second
                                     : platform::ItemAttributes{.kind = kindOf(path)};
}

std::optional<std::vector<platform::DirectoryEntry>>
DescribedFileSystem::contentsOfDirectory(const std::string& path) {
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
DescribedFileSystem::contentsOfDirectoryWithSizes(const std::string& path) {
    auto entries = contentsOfDirectory(path);
    if (!entries) {
        return std::nullopt;
    }
    for (auto& entry : *entries) {
        entry.size = attributesOfItem(platform::path::appending(path, entry.name))->size;
    }
    return entries;
}

std::optional<platform::Error> DescribedFileSystem::createDirectory(const std::string& path) {
    const auto error = change("create", path);
    if (!error) {
        folders.try_emplace(path, std::vector<std::string>());
    }
    return error;
}

std::optional<platform::Error> DescribedFileSystem::moveItem(const std::string& path,
                                                             const std::string& newPath) {
    const auto error = change("move", path, newPath);
    if (!error) {
        files.erase(path);
        files.insert(newPath);
    }
    return error;
}

std::optional<platform::Error> DescribedFileSystem::copyItem(const std::string& path,
                                                             const std::string& newPath) {
    const auto error = change("copy", path, newPath);
    if (!error) {
        files.insert(newPath);
    }
    return error;
}

std::optional<platform::Error> DescribedFileSystem::writeAtomically(const std::string& path,
                                                                    std::string_view /*content*/) {
    const auto error = change("write", path);
    if (!error && !writeError) {
        files.insert(path);
    }
    return error ? error : writeError;
}

std::optional<platform::Error> DescribedFileSystem::setModificationDate(const std::string& path,
                                                                        platform::Date date) {
    modificationDates[path] = date;
    return change("date", path);
}

std::optional<platform::Error> DescribedFileSystem::setCreationDate(const std::string& path,
                                                                    platform::Date date) {
    creationDates[path] = date;
    return change("creation date", path);
}

std::optional<platform::Error> DescribedFileSystem::setPosixPermissions(const std::string& path,
                                                                        unsigned mode) {
    permissions[path] = mode;
    return change("permissions", path);
}

std::optional<platform::Error> DescribedFileSystem::setImmutable(const std::string& path,
                                                                 bool immutable) {
    changes.push_back((immutable ? "lock " : "unlock ") + path);
    if (const auto found = lockErrors.find(path); found != lockErrors.end()) {
        return found->second;
    }
    return exists(path) ? std::nullopt : std::optional(missing(path));
}

std::optional<platform::Error> DescribedFileSystem::removeItem(const std::string& path) {
    changes.push_back("remove " + path);
    if (const auto found = removeErrors.find(path); found != removeErrors.end()) {
        return found->second;
    }
    const bool removed = files.erase(path) + folders.erase(path) > 0;
    return removed ? std::nullopt : std::optional(missing(path));
}

platform::ItemKind DescribedFileSystem::kindOf(const std::string& path) const {
    return folders.contains(path) ? platform::ItemKind::folder : platform::ItemKind::file;
}

std::optional<platform::Error> DescribedFileSystem::change(const std::string& what,
                                                           const std::string& about) {
    changes.push_back(std::string(what).append(" ").append(about));
    const auto found = failures.find(changes.back());
    return found == failures.end() ? std::nullopt : std::optional(found->second);
}

std::optional<platform::Error> DescribedFileSystem::change(const std::string& what,
                                                           const std::string& path,
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

platform::Error DescribedFileSystem::missing(const std::string& path) {
    return {.domain = "NSCocoaErrorDomain",
            .code = 4,
            .localizedDescription = "There is nothing at " + path + "."};
}

std::optional<std::string>
RecordingWorkspace::applicationPath(const std::string& /*bundleIdentifier*/) {
    return std::nullopt;
}

bool RecordingWorkspace::isFilePackage(const std::string& path) {
    return packages.contains(path);
}

platform::WorkspaceStatus RecordingWorkspace::registerApplication(const std::string& path) {
    registered.push_back(path);
    return registeredStatus;
}

platform::WorkspaceStatus RecordingWorkspace::noteFileSystemChanged(const std::string& path) {
    changed.push_back(path);
    return changedStatus;
}

std::vector<std::string> RecordingWorkspace::mountedLocalVolumePaths() {
    return volumes;
}

std::optional<int> RecordingWorkspace::labelNumber(const std::string& path) {
    const auto found = labels.find(path);
    return found == labels.end() ? std::nullopt : std::optional(found->second);
}

std::optional<platform::Error> RecordingWorkspace::setLabelNumber(const std::string& path,
                                                                  int number) {
    const auto found = labels.find(path);
    if (found == labels.end()) {
        return platform::Error{.localizedDescription = "no label for " + path};
    }
    found->second = number;
    return std::nullopt;
}

std::optional<platform::Error> RecordingWorkspace::recycle(const std::string& folder,
                                                           const std::string& trash,
                                                           const std::string& name) {
    recycled.push_back({folder, trash, name});
    const auto found = errors.find(folder + "/" + name);
    return found == errors.end() ? std::nullopt : std::optional(found->second);
}

void RecordingWorkspace::makeTrash(const std::string& trash) {
    trashesMade.push_back(trash);
}
