#pragma once

#include "platform/PropertyLists.h"
#include "platform/UserAccount.h"
#include "platform/Workspace.h"
#include "platform/linux/posix/Errno.h"

#include <optional>
#include <string>

namespace qf::native {

/// The registry of applications that the user's programs have registered.
///
/// It is one property list, "quillfen/applications.plist" in the user's data directory
/// (XDG_DATA_HOME), which maps each identifier, in lower case, to the paths of the bundles that
/// have it, the last registered first. A path that is not text is kept as data. Processes that
/// register at the same time wait for one another. Any thread may call every member.
class ApplicationRegistry {
public:
    /// The arguments must outlive this.
    ApplicationRegistry(qf::UserAccount& account, qf::PropertyLists& propertyLists)
        : account_(account), propertyLists_(propertyLists) {}

    /// Registers the bundle at an absolute path and, if a desktop is installed, writes a launcher
    /// entry for it; both files are replaced atomically. Entries of bundles that no longer exist
    /// are dropped.
    Result<void, WorkspaceStatus> add(const std::string& bundle);

    /// Returns the last registered bundle that still exists and has the identifier, compared
    /// ignoring case.
    std::optional<std::string> find(const std::string& identifier);

private:
    std::string dataDirectory();
    std::string file();
    Result<void, WorkspaceStatus> record(const std::string& bundle, const std::string& identifier);
    SystemResult<void> writeLauncherEntry(const std::string& bundle, const Value& information);
    bool stillExists(const std::string& bundle, const std::string& identifier);

    qf::UserAccount& account_;
    qf::PropertyLists& propertyLists_;
};

} // namespace qf::native
