#pragma once

#include "platform/PropertyLists.h"
#include "platform/UserAccount.h"
#include "platform/Workspace.h"
#include "platform/linux/posix/Errno.h"

#include <optional>
#include <string>

namespace platform::native {

/// The applications that the user's programs have registered.
///
/// They stand in one property list, "quillfen/applications.plist" in the user's data directory
/// (XDG_DATA_HOME): under each identifier, in lower case, the paths of the bundles that have it,
/// the last registered first. A path that is no text is kept as data. Processes that register at
/// once wait for one another. Any thread may call every member.
class ApplicationRegistry {
public:
    /// What it is given outlives it.
    ApplicationRegistry(platform::UserAccount& account, platform::PropertyLists& propertyLists)
        : account_(account), propertyLists_(propertyLists) {}

    /// Registers the bundle at an absolute path and, where a desktop is installed, gives the user a
    /// launcher entry for it; both files are replaced whole. What the registry holds of bundles
    /// that are gone is dropped.
    Result<void, WorkspaceStatus> add(const std::string& bundle);

    /// The last registered bundle that still stands and has the identifier, compared without case.
    std::optional<std::string> find(const std::string& identifier);

private:
    std::string dataDirectory();
    std::string file();
    Result<void, WorkspaceStatus> record(const std::string& bundle, const std::string& identifier);
    SystemResult<void> writeLauncherEntry(const std::string& bundle, const Value& information);
    bool stands(const std::string& bundle, const std::string& identifier);

    platform::UserAccount& account_;
    platform::PropertyLists& propertyLists_;
};

} // namespace platform::native
