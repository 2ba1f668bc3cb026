#pragma once

#include "platform/FileSystem.h"
#include "platform/Workspace.h"

#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

/// Files and directories that a test describes; nothing is on disk. Every system tool exists.
class DescribedFileSystem : public platform::FileSystem {
public:
    /// The items that exist and are not directories.
    std::set<std::string> files;
    /// The directories that exist, with the names in them; nullopt makes one unreadable.
    std::map<std::string, std::optional<std::vector<std::string>>> directories;
    std::set<std::string> tools{"/bin/rm",         "/bin/mv",        "/bin/cp",
                                "/bin/mkdir",      "/bin/chmod",     "/bin/launchctl",
                                "/usr/sbin/chown", "/usr/bin/touch", "/usr/bin/ditto"};
    /// The failures of clearing a locked flag and of deleting.
    std::map<std::string, platform::Error> lockErrors;
    std::map<std::string, platform::Error> removeErrors;
    /// The failures of any other changes, named as in `changes`.
    std::map<std::string, platform::Error> failures;
    /// The outcome of every write of a file.
    platform::Result<void> writeResult;
    /// The dates that were requested.
    std::map<std::string, platform::Date> creationDates;
    std::map<std::string, platform::Date> modificationDates;
    /// The permissions that were requested.
    std::map<std::string, unsigned> permissions;
    /// The attributes of an item beyond its kind; nullopt makes them unknown.
    std::map<std::string, std::optional<platform::ItemAttributes>> attributes;
    /// Where links lead.
    std::map<std::string, std::string> links;
    /// The items that exist and may not be written to.
    std::set<std::string> readOnly;

    /// Every requested change, in order.
    std::vector<std::string> changes;
    /// The directories from which abandoned copies were removed.
    std::vector<std::string> swept;

    bool exists(const std::string& path) override;
    bool isDirectory(const std::string& path) override;
    bool isWritable(const std::string& path) override;
    std::optional<platform::FileId> fileIdOfItem(const std::string& path) override;
    std::optional<std::string> destinationOfSymbolicLink(const std::string& path) override;
    std::optional<platform::ItemAttributes> attributesOfItem(const std::string& path) override;
    std::optional<std::vector<platform::DirectoryEntry>>
    contentsOfDirectory(const std::string& path) override;
    std::optional<std::vector<platform::DirectoryEntry>>
    contentsOfDirectoryWithSizes(const std::string& path) override;
    platform::Result<void> createDirectory(const std::string& path) override;
    /// Held by its own path.
    platform::Result<std::unique_ptr<platform::HeldDirectory>>
    holdDirectory(const std::string& path, const std::vector<std::string>& links,
                  platform::MissingDirectories missing) override;
    platform::Result<void> moveItem(const std::string& path, const std::string& newPath) override;
    platform::Result<void> copyItem(const std::string& path, const std::string& newPath) override;
    platform::Result<void> writeAtomically(const std::string& path,
                                           std::string_view /*content*/) override;
    platform::Result<void>
    writeAtomicallyWith(const std::string& path, std::string_view content, unsigned mode,
                        const std::optional<platform::FileDate>& date) override;
    platform::Result<void> setModificationDate(const std::string& path,
                                               platform::FileDate date) override;
    platform::Result<void> setCreationDate(const std::string& path,
                                           platform::FileDate date) override;
    platform::Result<void> setPosixPermissions(const std::string& path, unsigned mode) override;
    platform::Result<void> setImmutable(const std::string& path, bool immutable) override;
    void removeAbandonedCopies(const std::string& directory) override;
    platform::Result<void> removeItem(const std::string& path) override;

private:
    platform::ItemKind kindOf(const std::string& path) const;

    platform::Result<void> change(const std::string& what, const std::string& about);

    /// Records a change that needs an existing item and a free path.
    platform::Result<void> change(const std::string& what, const std::string& path,
                                  const std::string& newPath);

    static platform::Unexpected<platform::Error> missing(const std::string& path);
};

/// A Trash that records the items it is given, and a desktop without applications.
class RecordingWorkspace : public platform::Workspace {
public:
    /// Every item to be recycled, as directory, Trash directory and name.
    std::vector<std::vector<std::string>> recycled;
    /// Every Trash directory to be created.
    std::vector<std::string> trashesMade;
    /// Every item that other means are about to move, as its path and its place in the Trash, and
    /// the places of those whose move has ended.
    std::vector<std::vector<std::string>> expected;
    std::vector<std::string> ended;
    /// What was announced before it was recycled, a call's paths together.
    std::vector<std::vector<std::string>> prepared;
    /// How often what was recycled has been made durable.
    int timesDurable = 0;
    /// What is in the Trash.
    std::vector<platform::ItemInTrash> inTrash;
    /// Every item that was put back, as its place in the Trash and its path, and the places whose
    /// record was deleted.
    std::vector<std::vector<std::string>> putBacks;
    std::vector<std::string> forgotten;
    std::set<std::string> packages;
    /// The failure of recycling an item, named by its path.
    std::map<std::string, platform::Error> errors;
    /// The items reported as changed, and the status of that.
    std::vector<std::string> changed;
    platform::Result<void, platform::WorkspaceStatus> changedResult;
    /// The bundles that were registered, and the status of that.
    std::vector<std::string> registered;
    platform::Result<void, platform::WorkspaceStatus> registeredResult;
    std::vector<std::string> volumes{"/"};
    /// The labels of items; an item that is not listed cannot have one.
    std::map<std::string, int> labels;

    std::optional<std::string> applicationPath(const std::string& /*bundleIdentifier*/) override;
    bool isFilePackage(const std::string& path) override;
    platform::Result<void, platform::WorkspaceStatus>
    registerApplication(const std::string& path) override;
    platform::Result<void, platform::WorkspaceStatus>
    noteFileSystemChanged(const std::string& path) override;
    std::vector<std::string> mountedLocalVolumePaths() override;
    std::optional<int> labelNumber(const std::string& path) override;
    platform::Result<void> setLabelNumber(const std::string& path, int number) override;
    /// Returns the name in the Trash.
    platform::Result<std::string> recycle(const std::string& directory, const std::string& trash,
                                          const std::string& name) override;
    /// Records the calls.
    void prepareToRecycle(const std::string& trash, const std::vector<std::string>& paths) override;
    void makeTrash(const std::string& trash) override;
    std::function<void()> moveTrashed(const std::string& path, const std::string& place) override;
    platform::Result<std::vector<platform::ItemInTrash>>
    itemsInTrash(const std::string& trash) override;
    platform::Result<void> putBack(const std::string& place, const std::string& path) override;
    void forgetTrashed(const std::string& place, const std::string& path) override;
    void makeTrashDurable() override;
};
