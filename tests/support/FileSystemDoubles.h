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
class DescribedFileSystem : public qf::FileSystem {
public:
    /// The items that exist and are not directories.
    std::set<std::string> files;
    /// The directories that exist, with the names in them; nullopt makes one unreadable.
    std::map<std::string, std::optional<std::vector<std::string>>> directories;
    std::set<std::string> tools{"/bin/rm",         "/bin/mv",        "/bin/cp",
                                "/bin/mkdir",      "/bin/chmod",     "/bin/launchctl",
                                "/usr/sbin/chown", "/usr/bin/touch", "/usr/bin/ditto"};
    /// The failures of clearing a locked flag and of deleting.
    std::map<std::string, qf::Error> lockErrors;
    std::map<std::string, qf::Error> removeErrors;
    /// The failures of any other changes, named as in `changes`.
    std::map<std::string, qf::Error> failures;
    /// The items that a failed move has copied already.
    std::set<std::string> copiedByFailedMoves;
    /// The outcome of every write of a file.
    qf::Result<void> writeResult;
    /// The dates that were requested.
    std::map<std::string, qf::Date> creationDates;
    std::map<std::string, qf::Date> modificationDates;
    /// The permissions that were requested.
    std::map<std::string, unsigned> permissions;
    /// The attributes of an item beyond its kind; nullopt makes them unknown.
    std::map<std::string, std::optional<qf::ItemAttributes>> attributes;
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
    std::optional<qf::FileId> fileIdOfItem(const std::string& path) override;
    std::optional<std::string> destinationOfSymbolicLink(const std::string& path) override;
    std::optional<qf::ItemAttributes> attributesOfItem(const std::string& path) override;
    std::optional<std::vector<qf::DirectoryEntry>>
    contentsOfDirectory(const std::string& path) override;
    std::optional<std::vector<qf::DirectoryEntry>>
    contentsOfDirectoryWithSizes(const std::string& path) override;
    qf::Result<void> createDirectory(const std::string& path) override;
    /// Held by its own path.
    qf::Result<std::unique_ptr<qf::HeldDirectory>>
    holdDirectory(const std::string& path, const std::vector<std::string>& links,
                  qf::MissingDirectories missing) override;
    qf::Result<void> moveItem(const std::string& path, const std::string& newPath) override;
    qf::Result<void> copyItem(const std::string& path, const std::string& newPath) override;
    qf::Result<void> writeAtomically(const std::string& path,
                                     std::string_view /*content*/) override;
    qf::Result<void> writeAtomicallyWith(const std::string& path, std::string_view content,
                                         unsigned mode,
                                         const std::optional<qf::FileDate>& date) override;
    qf::Result<void> setModificationDate(const std::string& path, qf::FileDate date) override;
    qf::Result<void> setCreationDate(const std::string& path, qf::FileDate date) override;
    qf::Result<void> setPosixPermissions(const std::string& path, unsigned mode) override;
    qf::Result<void> setImmutable(const std::string& path, bool immutable) override;
    void removeAbandonedCopies(const std::string& directory) override;
    qf::Result<void> removeItem(const std::string& path) override;

private:
    qf::ItemKind kindOf(const std::string& path) const;

    qf::Result<void> change(const std::string& what, const std::string& about);

    /// Records a change that needs an existing item and a free path.
    qf::Result<void> change(const std::string& what, const std::string& path,
                            const std::string& newPath);

    static qf::Unexpected<qf::Error> missing(const std::string& path);
};

/// A Trash that records the items it is given, and a desktop without applications.
class RecordingWorkspace : public qf::Workspace {
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
    std::vector<qf::ItemInTrash> inTrash;
    /// Every item that was put back, as its place in the Trash and its path, and the places whose
    /// record was deleted.
    std::vector<std::vector<std::string>> putBacks;
    std::vector<std::string> forgotten;
    std::set<std::string> packages;
    /// The failure of recycling an item, named by its path.
    std::map<std::string, qf::Error> errors;
    /// Why no other means may move an item to the Trash, by its path.
    std::map<std::string, qf::Error> unmovable;
    /// The items reported as changed, and the status of that.
    std::vector<std::string> changed;
    qf::Result<void, qf::WorkspaceStatus> changedResult;
    /// The bundles that were registered, and the status of that.
    std::vector<std::string> registered;
    qf::Result<void, qf::WorkspaceStatus> registeredResult;
    std::vector<std::string> volumes{"/"};
    /// The labels of items; an item that is not listed cannot have one.
    std::map<std::string, int> labels;

    std::optional<std::string> applicationPath(const std::string& /*bundleIdentifier*/) override;
    bool isFilePackage(const std::string& path) override;
    qf::Result<void, qf::WorkspaceStatus> registerApplication(const std::string& path) override;
    qf::Result<void, qf::WorkspaceStatus> noteFileSystemChanged(const std::string& path) override;
    std::vector<std::string> mountedLocalVolumePaths() override;
    std::optional<int> labelNumber(const std::string& path) override;
    qf::Result<void> setLabelNumber(const std::string& path, int number) override;
    /// Returns the name in the Trash.
    qf::Result<std::string> recycle(const std::string& directory, const std::string& trash,
                                    const std::string& name) override;
    /// Records the calls.
    void prepareToRecycle(const std::string& trash, const std::vector<std::string>& paths) override;
    void makeTrash(const std::string& trash) override;
    qf::Result<std::function<void()>> moveTrashed(const std::string& path,
                                                  const std::string& place) override;
    qf::Result<std::vector<qf::ItemInTrash>> itemsInTrash(const std::string& trash) override;
    qf::Result<void> putBack(const std::string& place, const std::string& path) override;
    void finishPutBack(const std::string& /*place*/, const std::string& /*path*/) override {}
    void forgetTrashed(const std::string& place, const std::string& path) override;
    void makeTrashDurable() override;
};
