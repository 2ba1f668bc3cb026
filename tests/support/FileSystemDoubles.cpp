#include "tests/support/FileSystemDoubles.h"

#include "platform/foundation/Path.h"

#include <functional>

namespace {

/// Returns the failure that a test has set, or a success if it has set none.
qf::Result<void> failureIn(const std::map<std::string, qf::Error>& failures,
                           const std::string& what) {
    const auto found = failures.find(what);
    if (found != failures.end()) {
        return qf::Unexpected(found->second);
    }
    return {};
}

} // namespace

bool DescribedFileSystem::exists(const std::string& path) {
    return files.contains(path) || directories.contains(path) || tools.contains(path);
}

bool DescribedFileSystem::isDirectory(const std::string& path) {
    return directories.contains(path);
}

bool DescribedFileSystem::isWritable(const std::string& path) {
    return exists(path) && !readOnly.contains(path);
}

std::optional<qf::FileId> DescribedFileSystem::fileIdOfItem(const std::string& path) {
    return exists(path) ? std::optional(qf::FileId{.number = std::hash<std::string>()(path)})
                        : std::nullopt;
}

std::optional<std::string> DescribedFileSystem::destinationOfSymbolicLink(const std::string& path) {
    const auto found = links.find(path);
    return found == links.end() ? std::nullopt : std::optional(found->second);
}

std::optional<qf::ItemAttributes> DescribedFileSystem::attributesOfItem(const std::string& path) {
    if (!exists(path)) {
        return std::nullopt;
    }
    const auto found = attributes.find(path);
    return found != attributes.end() ? found->second : qf::ItemAttributes{.kind = kindOf(path)};
}

std::optional<std::vector<qf::DirectoryEntry>>
DescribedFileSystem::contentsOfDirectory(const std::string& path) {
    const auto found = directories.find(path);
    if (found == directories.end() || !found->second) {
        return std::nullopt;
    }
    std::vector<qf::DirectoryEntry> entries;
    for (const auto& name : *found->second) {
        entries.push_back({name, kindOf(qf::path::appending(path, name))});
    }
    return entries;
}

std::optional<std::vector<qf::DirectoryEntry>>
DescribedFileSystem::contentsOfDirectoryWithSizes(const std::string& path) {
    auto entries = contentsOfDirectory(path);
    if (!entries) {
        return std::nullopt;
    }
    for (auto& entry : *entries) {
        entry.size = attributesOfItem(qf::path::appending(path, entry.name))->size;
    }
    return entries;
}

qf::Result<void> DescribedFileSystem::createDirectory(const std::string& path) {
    const auto created = change("create", path);
    if (created) {
        directories.try_emplace(path, std::vector<std::string>());
    }
    return created;
}

qf::Result<std::unique_ptr<qf::HeldDirectory>>
DescribedFileSystem::holdDirectory(const std::string& path,
                                   const std::vector<std::string>& /*links*/,
                                   qf::MissingDirectories whenMissing) {
    class NamedDirectory : public qf::HeldDirectory {
    public:
        explicit NamedDirectory(std::string path) : path_(std::move(path)) {}
        std::string path() const override { return path_; }

    private:
        std::string path_;
    };
    if (!isDirectory(path) && whenMissing == qf::MissingDirectories::create) {
        if (auto created = createDirectory(path); !created) {
            return qf::Unexpected(std::move(created).error());
        }
    }
    if (!isDirectory(path)) {
        return missing(path);
    }
    return std::make_unique<NamedDirectory>(path);
}

qf::Result<void> DescribedFileSystem::moveItem(const std::string& path,
                                               const std::string& newPath) {
    const auto moved = change("move", path, newPath);
    if (moved) {
        files.erase(path);
    }
    if (moved || copiedByFailedMoves.contains(path)) {
        files.insert(newPath);
    }
    return moved;
}

qf::Result<void> DescribedFileSystem::copyItem(const std::string& path,
                                               const std::string& newPath) {
    const auto copied = change("copy", path, newPath);
    if (copied) {
        files.insert(newPath);
    }
    return copied;
}

qf::Result<void> DescribedFileSystem::writeAtomically(const std::string& path,
                                                      std::string_view /*content*/) {
    auto written = change("write", path);
    if (written && writeResult) {
        files.insert(path);
    }
    return written ? writeResult : written;
}

qf::Result<void>
DescribedFileSystem::writeAtomicallyWith(const std::string& path, std::string_view content,
                                         unsigned mode,
                                         const std::optional<qf::FileDate>& /*date*/) {
    auto written = writeAtomically(path, content);
    permissions[path] = mode;
    return written;
}

qf::Result<void> DescribedFileSystem::setModificationDate(const std::string& path,
                                                          qf::FileDate date) {
    modificationDates[path] = date.nearestDate();
    return change("date", path);
}

qf::Result<void> DescribedFileSystem::setCreationDate(const std::string& path, qf::FileDate date) {
    creationDates[path] = date.nearestDate();
    return change("creation date", path);
}

qf::Result<void> DescribedFileSystem::setPosixPermissions(const std::string& path, unsigned mode) {
    permissions[path] = mode;
    return change("permissions", path);
}

qf::Result<void> DescribedFileSystem::setImmutable(const std::string& path, bool immutable) {
    changes.push_back((immutable ? "lock " : "unlock ") + path);
    if (const auto found = lockErrors.find(path); found != lockErrors.end()) {
        return qf::Unexpected(found->second);
    }
    return exists(path) ? qf::Result<void>() : missing(path);
}

void DescribedFileSystem::removeAbandonedCopies(const std::string& directory) {
    swept.push_back(directory);
}

qf::Result<void> DescribedFileSystem::removeItem(const std::string& path) {
    changes.push_back("remove " + path);
    if (const auto found = removeErrors.find(path); found != removeErrors.end()) {
        return qf::Unexpected(found->second);
    }
    const bool removed = files.erase(path) + directories.erase(path) > 0;
    return removed ? qf::Result<void>() : missing(path);
}

qf::ItemKind DescribedFileSystem::kindOf(const std::string& path) const {
    return directories.contains(path) ? qf::ItemKind::directory : qf::ItemKind::file;
}

qf::Result<void> DescribedFileSystem::change(const std::string& what, const std::string& about) {
    changes.push_back(std::string(what).append(" ").append(about));
    return failureIn(failures, changes.back());
}

qf::Result<void> DescribedFileSystem::change(const std::string& what, const std::string& path,
                                             const std::string& newPath) {
    auto changed = change(what, path + " " + newPath);
    if (!changed) {
        return changed;
    }
    if (!exists(path)) {
        return missing(path);
    }
    if (exists(newPath)) {
        return qf::Unexpected(
            qf::Error{.domain = "NSCocoaErrorDomain",
                      .code = 516,
                      .localizedDescription = "There is something at " + newPath + "."});
    }
    return {};
}

qf::Unexpected<qf::Error> DescribedFileSystem::missing(const std::string& path) {
    return qf::Unexpected(qf::Error{.domain = "NSCocoaErrorDomain",
                                    .code = 4,
                                    .localizedDescription = "There is nothing at " + path + "."});
}

std::optional<std::string>
RecordingWorkspace::applicationPath(const std::string& /*bundleIdentifier*/) {
    return std::nullopt;
}

bool RecordingWorkspace::isFilePackage(const std::string& path) {
    return packages.contains(path);
}

qf::Result<void, qf::WorkspaceStatus>
RecordingWorkspace::registerApplication(const std::string& path) {
    registered.push_back(path);
    return registeredResult;
}

qf::Result<void, qf::WorkspaceStatus>
RecordingWorkspace::noteFileSystemChanged(const std::string& path) {
    changed.push_back(path);
    return changedResult;
}

std::vector<std::string> RecordingWorkspace::mountedLocalVolumePaths() {
    return volumes;
}

std::optional<int> RecordingWorkspace::labelNumber(const std::string& path) {
    const auto found = labels.find(path);
    return found == labels.end() ? std::nullopt : std::optional(found->second);
}

qf::Result<void> RecordingWorkspace::setLabelNumber(const std::string& path, int number) {
    const auto found = labels.find(path);
    if (found == labels.end()) {
        return qf::Unexpected(qf::Error{.localizedDescription = "no label for " + path});
    }
    found->second = number;
    return {};
}

qf::Result<std::string> RecordingWorkspace::recycle(const std::string& directory,
                                                    const std::string& trash,
                                                    const std::string& name) {
    recycled.push_back({directory, trash, name});
    const auto failure = failureIn(errors, directory + "/" + name);
    return failure ? qf::Result<std::string>(trash + "/" + name) : qf::Unexpected(failure.error());
}

void RecordingWorkspace::prepareToRecycle(const std::string& /*trash*/,
                                          const std::vector<std::string>& paths) {
    prepared.push_back(paths);
}

void RecordingWorkspace::makeTrash(const std::string& trash) {
    trashesMade.push_back(trash);
}

qf::Result<std::function<void()>> RecordingWorkspace::moveTrashed(const std::string& path,
                                                                  const std::string& place) {
    expected.push_back({path, place});
    if (const auto failure = failureIn(unmovable, path); !failure) {
        return qf::Unexpected(failure.error());
    }
    return std::function<void()>([this, place] { ended.push_back(place); });
}

qf::Result<std::vector<qf::ItemInTrash>>
RecordingWorkspace::itemsInTrash(const std::string& /*trash*/) {
    return inTrash;
}

qf::Result<void> RecordingWorkspace::putBack(const std::string& place, const std::string& path) {
    putBacks.push_back({place, path});
    return failureIn(errors, place);
}

void RecordingWorkspace::forgetTrashed(const std::string& place, const std::string& /*path*/) {
    forgotten.push_back(place);
}

void RecordingWorkspace::makeTrashDurable() {
    ++timesDurable;
}
