#pragma once

#include "platform/PropertyLists.h"
#include "platform/SearchPaths.h"
#include "platform/UserAccount.h"
#include "platform/Workspace.h"
#include "platform/linux/desktop/ApplicationRegistry.h"

#include <vector>

namespace platform::native {

/// Applications by a search of the Applications directories and by a registry, packages by their
/// names and inner structure, volumes by the mount table, labels by extended attributes, and the
/// freedesktop Trash.
class Workspace : public platform::Workspace {
public:
    /// What it is given outlives it.
    Workspace(platform::UserAccount& account, platform::SearchPaths& searchPaths,
              platform::PropertyLists& propertyLists)
        : account_(account), searchPaths_(searchPaths), propertyLists_(propertyLists),
          registry_(account, propertyLists) {}

    /// Searches the user's Applications directory, then the machine's, eight directories deep, each
    /// directory in the order of the names' bytes, and gives the first bundle that matches.
    /// Packages are not searched inside. Links inside the directories are not followed: what they
    /// lead to is not installed here. Only an application that no directory holds is looked up in
    /// the registry.
    std::optional<std::string> applicationPath(const std::string& bundleIdentifier) override;

    bool isFilePackage(const std::string& path) override;

    /// As ApplicationRegistry::add().
    Result<void, WorkspaceStatus> registerApplication(const std::string& path) override;

    /// As announceChange().
    Result<void, WorkspaceStatus> noteFileSystemChanged(const std::string& path) override;

    /// As mountedLocalVolumes().
    std::vector<std::string> mountedLocalVolumePaths() override;

    /// As readLabel() and writeLabel().
    std::optional<int> labelNumber(const std::string& path) override;
    Result<void> setLabelNumber(const std::string& path, int number) override;

    /// As trashItem(). A failure is also told in one line of the system log, which names the path.
    Result<void> recycle(const std::string& directory, const std::string& trash,
                         const std::string& name) override;
    void makeTrash(const std::string& trash) override;

private:
    std::vector<std::string> applicationDirectories();

    platform::UserAccount& account_;
    platform::SearchPaths& searchPaths_;
    platform::PropertyLists& propertyLists_;
    ApplicationRegistry registry_;
};

} // namespace platform::native
