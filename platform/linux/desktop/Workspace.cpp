#include "platform/linux/desktop/Workspace.h"

#include "platform/foundation/Path.h"
#include "platform/linux/desktop/Bundles.h"
#include "platform/linux/desktop/ChangeNotice.h"
#include "platform/linux/desktop/Labels.h"
#include "platform/linux/desktop/TrashContents.h"
#include "platform/linux/desktop/Volumes.h"
#include "platform/linux/posix/Errors.h"
#include "platform/linux/system/SearchPaths.h"

namespace qf::native {

namespace {

constexpr auto trashName = translatable("Errors", "Trash");

Unexpected<Error> notTrashed(const std::string& name, const TrashError& error) {
    return Unexpected(posixError(error.number, name, participle::movedToTrash, error.why));
}

} // namespace

std::vector<std::string> Workspace::applicationDirectories() {
    auto directories = searchPaths_.directories(DirectoryKind::application, DomainMask::local);
    directories.insert(directories.begin(),
                       directoryInHome(account_.homeDirectory(), DirectoryKind::application));
    return directories;
}

std::optional<std::string> Workspace::applicationPath(const std::string& bundleIdentifier) {
    if (bundleIdentifier.empty()) {
        return std::nullopt;
    }
    for (const auto& directory : applicationDirectories()) {
        if (auto bundle = findBundle(directory, bundleIdentifier, propertyLists_)) {
            return bundle;
        }
    }
    return registry_.find(bundleIdentifier);
}

bool Workspace::isFilePackage(const std::string& path) {
    return isPackage(path);
}

Result<void, WorkspaceStatus> Workspace::registerApplication(const std::string& path) {
    return registry_.add(path);
}

Result<void, WorkspaceStatus> Workspace::noteFileSystemChanged(const std::string& path) {
    return announceChange(path);
}

std::vector<std::string> Workspace::mountedLocalVolumePaths() {
    std::vector<std::string> paths;
    for (auto& volume : mountedLocalVolumes()) {
        paths.push_back(std::move(volume.mountPoint));
    }
    return paths;
}

std::optional<int> Workspace::labelNumber(const std::string& path) {
    return readLabel(path);
}

Result<void> Workspace::setLabelNumber(const std::string& path, int number) {
    return writeLabel(path, number);
}

Result<std::string> Workspace::recycle(const std::string& directory, const std::string& trash,
                                       const std::string& name) {
    auto taken = trash_.take(directory, trash, name);
    if (!taken) {
        return notTrashed(name, taken.error());
    }
    return *std::move(taken);
}

void Workspace::prepareToRecycle(const std::string& trash, const std::vector<std::string>& paths) {
    trash_.prepare(trash, paths);
}

void Workspace::makeTrash(const std::string& trash) {
    static_cast<void>(native::makeTrash(trash));
}

Result<std::function<void()>> Workspace::moveTrashed(const std::string& path,
                                                     const std::string& place) {
    auto expected = trash_.expect(path, place);
    if (!expected) {
        return notTrashed(path::lastComponent(path), expected.error());
    }
    return *std::move(expected);
}

Result<std::vector<ItemInTrash>> Workspace::itemsInTrash(const std::string& trash) {
    trash_.tidyHome();
    auto items = native::itemsInTrash(trash);
    if (!items) {
        return Unexpected(posixError(items.error(), translated(trashName), participle::read));
    }
    return *std::move(items);
}

Result<void> Workspace::putBack(const std::string& place, const std::string& path) {
    return posixResult(putBackFromTrash(place, path), path::lastComponent(path),
                       participle::putBack);
}

void Workspace::finishPutBack(const std::string& place, const std::string& path) {
    native::finishPutBack(place, path);
}

void Workspace::forgetTrashed(const std::string& place, const std::string& path) {
    native::forgetTrashed({place, path});
}

void Workspace::makeTrashDurable() {
    trash_.makeDurable();
}

} // namespace qf::native
