#pragma once

#include "platform/PropertyLists.h"
#include "platform/SearchPaths.h"
#include "platform/UserAccount.h"
#include "platform/Workspace.h"
#include "platform/linux/desktop/ApplicationRegistry.h"
#include "platform/linux/desktop/Trash.h"

#include <vector>

namespace qf::native {

/// The desktop on Linux: applications by a search of the Applications directories and by a
/// registry, packages by their names and inner structure, volumes by the mount table, labels by
/// extended attributes, and the freedesktop Trash.
class Workspace : public qf::Workspace {
public:
    /// The arguments must outlive this.
    Workspace(qf::UserAccount& account, qf::SearchPaths& searchPaths,
              qf::PropertyLists& propertyLists)
        : account_(account), searchPaths_(searchPaths), propertyLists_(propertyLists),
          registry_(account, propertyLists) {}

    /// Searches the user's Applications directory, then the machine's, up to eight directories
    /// deep, each directory in byte order of names, and returns the first bundle that matches.
    /// Packages are not searched. Links inside the directories are not followed: their targets are
    /// not installed here. Only an application that is in none of the directories is looked up in
    /// the registry.
    std::optional<std::string> applicationPath(const std::string& bundleIdentifier) override;

    bool isFilePackage(const std::string& path) override;

    /// See ApplicationRegistry::add().
    Result<void, WorkspaceStatus> registerApplication(const std::string& path) override;

    /// See announceChange().
    Result<void, WorkspaceStatus> noteFileSystemChanged(const std::string& path) override;

    /// See mountedLocalVolumes().
    std::vector<std::string> mountedLocalVolumePaths() override;

    /// See readLabel() and writeLabel().
    std::optional<int> labelNumber(const std::string& path) override;
    Result<void> setLabelNumber(const std::string& path, int number) override;

    /// See Trash.
    Result<std::string> recycle(const std::string& directory, const std::string& trash,
                                const std::string& name) override;
    void prepareToRecycle(const std::string& trash, const std::vector<std::string>& paths) override;
    void makeTrash(const std::string& trash) override;
    Result<std::function<void()>> moveTrashed(const std::string& path,
                                              const std::string& place) override;
    Result<std::vector<ItemInTrash>> itemsInTrash(const std::string& trash) override;
    Result<void> putBack(const std::string& place, const std::string& path) override;
    void finishPutBack(const std::string& place, const std::string& path) override;
    void forgetTrashed(const std::string& place, const std::string& path) override;
    void makeTrashDurable() override;

private:
    std::vector<std::string> applicationDirectories();

    qf::UserAccount& account_;
    qf::SearchPaths& searchPaths_;
    qf::PropertyLists& propertyLists_;
    ApplicationRegistry registry_;
    Trash trash_;
};

} // namespace qf::native
