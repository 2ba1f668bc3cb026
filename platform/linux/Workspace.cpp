#include "platform/linux/Workspace.h"

#include "platform/Console.h"
#include "platform/Services.h"
#include "platform/foundation/Path.h"
#include "platform/linux/Bundles.h"
#include "platform/linux/Errors.h"
#include "platform/linux/SearchPaths.h"
#include "platform/linux/Trash.h"

namespace platform::native {

std::vector<std::string> Workspace::applicationFolders() {
    auto folders = searchPaths_.folders(DirectoryKind::application, DomainMask::local);
    folders.insert(folders.begin(),
                   folderInHome(account_.homeDirectory(), DirectoryKind::application));
    return folders;
}

std::optional<std::string> Workspace::applicationPath(const std::string& bundleIdentifier) {
    if (bundleIdentifier.empty()) {
        return std::nullopt;
    }
    for (const auto& folder : applicationFolders()) {
        if (auto bundle = findBundle(folder, bundleIdentifier, propertyLists_)) {
            return bundle;
        }
    }
    return std::nullopt;
}

bool Workspace::isFilePackage(const std::string& path) {
    return isPackage(path);
}

std::optional<Error> Workspace::recycle(const std::string& folder, const std::string& trash,
                                        const std::string& name) {
    const auto failure = trashItem(folder, trash, name);
    if (!failure) {
        return std::nullopt;
    }
    service<Console>().systemLog(
        failureSentence(path::appending(folder, name), movedToTrash, failure->why));
    return posixError(failure->number, name, movedToTrash, failure->why);
}

void Workspace::makeTrash(const std::string& trash) {
    static_cast<void>(native::makeTrash(trash));
}

} // namespace platform::native
