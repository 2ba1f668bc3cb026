#include "util/auth/QFAuthorization.h"

#include "platform/Clock.h"
#include "platform/Console.h"
#include "platform/FileSystem.h"
#include "platform/ProcessLauncher.h"
#include "platform/Services.h"
#include "platform/Workspace.h"
#include "platform/foundation/Path.h"
#include "util/paths/QFLocalPaths.h"
#include "util/task/QFTaskEx.h"

#include <array>
#include <chrono>
#include <ctime>
#include <ios>
#include <limits>
#include <memory>
#include <string_view>
#include <utility>

namespace path = platform::path;

namespace {

constexpr std::string_view toolDoesNotExist = "Unable to execute task: path %@ doesn't exist";
constexpr std::string_view refusedToDelete =
    "Unable to delete path %@ because it is a system directory.";
constexpr std::string_view refusedToTrash =
    "Unable to trash path %@ because it is a system directory.";
constexpr std::string_view refusedToTrashContents =
    "Unable to trash folder contents of path %@ because it is a system directory.";
constexpr std::string_view refusedToMoveContents =
    "Unable to move contents of path %@ because it is a system directory.";
constexpr std::string_view refusedToMove =
    "Unable to move path %@ because it is a system directory.";
constexpr std::string_view moveFromNothing = "Error in authMoveFile: old path is null";
constexpr std::string_view moveToNothing = "Error in authMoveFile: new path is null";
constexpr std::string_view authCopyFromNothing = "Error in authCopyFile: old path is null";
constexpr std::string_view authCopyToNothing = "Error in authCopyFile: new path is null";

constexpr std::chrono::microseconds pauseAfterCreation{500};

/// Returns whether the path is one that must not be touched, and logs `message` if so.
bool isRefused(const std::string& item, std::string_view message) {
    const bool refused = QFLocalPaths::isPathSystemDirectory(item, ExactMatch::yes);
    if (refused) {
        platform::systemLog(message, item);
    }
    return refused;
}

/// Returns whether both paths are present; logs a missing one.
bool bothGiven(const std::optional<std::string>& source,
               const std::optional<std::string>& destination, std::string_view fromNothing,
               std::string_view toNothing) {
    if (!source) {
        platform::systemLog(fromNothing);
        return false;
    }
    if (!destination) {
        platform::systemLog(toNothing);
        return false;
    }
    return true;
}

/// Starts a tool with the process's own rights. A failure goes to the system log only: callers
/// treat the tool as started.
QFAuthorization::StartedTool startAsSuperuser(const std::string& tool,
                                              const std::vector<std::string>& arguments) {
    try {
        if (auto process = QFTaskEx::runTaskAndReturn(tool, arguments)) {
            return {.waitUntilExit = [process] { process->waitUntilExit(); }};
        }
    } catch (const platform::Exception& exception) {
        platform::systemLog("%@", exception.reason());
    }
    return {};
}

/// Returns whether the tool neither exists nor can be launched, and logs it.
bool isMissing(const std::string& tool) {
    const bool missing = !platform::service<platform::ProcessLauncher>().canLaunch(tool) &&
                         !platform::service<platform::FileSystem>().exists(tool);
    if (missing) {
        platform::systemLog(toolDoesNotExist, tool);
    }
    return missing;
}

std::vector<platform::DirectoryEntry> entries(const std::string& directory) {
    return platform::service<platform::FileSystem>().contentsOfDirectory(directory).value_or(
        std::vector<platform::DirectoryEntry>());
}

std::string timestamp() {
    auto& clock = platform::service<platform::Clock>();
    const std::tm now = clock.localTime(clock.now());
    std::array<char, 32> digits{};
    const std::size_t length = std::strftime(digits.data(), digits.size(), "%Y%m%d%H%M%S", &now);
    return {digits.data(), length};
}

} // namespace

int QFAuthorization::authExecTask(const std::string& path,
                                  const std::vector<std::string>& parameters, Async async) {
    return runTool(path, parameters, async, std::nullopt);
}

int QFAuthorization::authExecTask(const std::string& path,
                                  const std::vector<std::string>& parameters) {
    return authExecTask(path, parameters, Async::yes);
}

int QFAuthorization::authExecTask(const std::string& path,
                                  const std::vector<std::string>& parameters,
                                  const std::string& content) {
    return runTool(path, parameters, Async::yes, content);
}

int QFAuthorization::runTool(const std::string& path, const std::vector<std::string>& arguments,
                             Async async, const std::optional<std::string>& content) {
    if (isMissing(path)) {
        return toolMissing;
    }
    if (isSuperuser()) {
        if (async == Async::yes) {
            startAsSuperuser(path, arguments);
        } else {
            QFTaskEx::runTask(path, arguments);
        }
        return 0;
    }
    const auto tool = startWithRight(path, arguments, content);
    if (async == Async::no && tool.waitUntilExit) {
        tool.waitUntilExit();
    }
    return tool.status;
}

QFAuthorization::StartedTool
QFAuthorization::startWithRight(const std::string& path, const std::vector<std::string>& arguments,
                                const std::optional<std::string>& content) {
    const auto answer = isAuthorized() ? std::nullopt : obtainRight();
    if (!isAuthorized()) {
        return {.status = notAuthorized, .right = answer};
    }
    auto tool = platform::service<platform::AuthorizationServices>().executeWithPrivileges(
        authRef_, path, platform::kAuthorizationFlagDefaults, arguments, content);
    if (!tool) {
        return {.status = tool.error(), .right = tool.error()};
    }
    // The output ends when the tool ends.
    const std::shared_ptr<std::istream> output = *std::move(tool);
    return {.right = platform::errAuthorizationSuccess, .waitUntilExit = [output] {
                output->ignore(std::numeric_limits<std::streamsize>::max());
            }};
}

// For the superuser the tool is started without checking that it exists.
QFAuthorization::StartedTool QFAuthorization::startTool(const std::string& path,
                                                        const std::vector<std::string>& arguments) {
    if (isSuperuser()) {
        return startAsSuperuser(path, arguments);
    }
    return isMissing(path) ? StartedTool{.status = toolMissing}
                           : startWithRight(path, arguments, std::nullopt);
}

bool QFAuthorization::authRemoveFile(const std::string& path) {
    if (isRefused(path, refusedToDelete)) {
        return false;
    }
    return authExecTask("/bin/rm", {"-Rdf", path}) == 0;
}

QFAuthorization::StartedTool QFAuthorization::startRemoving(const std::string& path) {
    return isRefused(path, refusedToDelete) ? StartedTool{.status = refused}
                                            : startTool("/bin/rm", {"-Rdf", path});
}

bool QFAuthorization::authTrashFile(const std::string& path) {
    return authTrashFile(path, DeleteOnRootAccount::no);
}

bool QFAuthorization::authTrashFile(const std::string& path,
                                    DeleteOnRootAccount deleteOnRootAccount) {
    if (!deletesInsteadOfTrashing(deleteOnRootAccount)) {
        return startTrashing(path).status == 0;
    }
    return !isRefused(path, refusedToTrash) && authRemoveFile(trashDestination(path));
}

QFAuthorization::StartedTool QFAuthorization::startTrashing(const std::string& path) {
    if (isRefused(path, refusedToTrash)) {
        return {.status = refused};
    }
    const std::string destination = trashDestination(path);
    if (!trashIsOwn()) {
        auto tool = startMoving(path, destination);
        tool.destination = tool.status == 0 ? destination : std::string();
        return tool;
    }
    auto& workspace = platform::service<platform::Workspace>();
    workspace.makeTrash(QFLocalPaths::trashDirectory());
    const auto end = workspace.moveTrashed(path, destination);
    auto tool = startMoving(path, destination);
    tool.destination = tool.status == 0 ? destination : std::string();
    if (!tool.waitUntilExit) {
        end();
        return tool;
    }
    tool.waitUntilExit = [wait = std::move(tool.waitUntilExit), end] {
        wait();
        end();
    };
    return tool;
}

bool QFAuthorization::deletesInsteadOfTrashing(DeleteOnRootAccount deleteOnRootAccount) const {
    return deleteOnRootAccount == DeleteOnRootAccount::yes && !userDirectory_ && isSuperuser();
}

// The Trash must belong to its user: the superuser creates none for somebody else, and writes
// nothing there.
bool QFAuthorization::trashIsOwn() const {
    return !isSuperuser() || !userDirectory_;
}

std::string QFAuthorization::trashDestination(const std::string& path) const {
    const std::string name = path::lastComponent(path);
    std::string destination = path::appending(QFLocalPaths::trashDirectory(), name);
    if (!trashIsOwn()) {
        destination = *userDirectory_ + "/.Trash/" + name;
    }
    if (platform::service<platform::FileSystem>().exists(destination)) {
        destination =
            path::deletingExtension(destination) + "_" + timestamp() + "." + path::extension(path);
    }
    return destination;
}

bool QFAuthorization::authTrashFolderContents(const std::string& path) {
    return authTrashFolderContents(path, DeleteOnRootAccount::no);
}

bool QFAuthorization::authTrashFolderContents(const std::string& path,
                                              DeleteOnRootAccount deleteOnRootAccount) {
    if (isRefused(path, refusedToTrashContents)) {
        return false;
    }
    const bool deletes = deletesInsteadOfTrashing(deleteOnRootAccount);
    bool succeeded = true;
    for (const auto& entry : entries(path)) {
        const std::string item = path::appending(path, entry.name);
        const bool done =
            deletes ? authExecTask("/bin/rm", {"-R", "-f", item}) == 0 : authTrashFile(item);
        succeeded = succeeded && done;
    }
    return succeeded;
}

bool QFAuthorization::authMoveFolderContents(const std::string& path, const std::string& toPath) {
    if (isRefused(path, refusedToMoveContents)) {
        return false;
    }
    bool succeeded = true;
    for (const auto& entry : entries(path)) {
        const bool moved =
            authMoveFile(path::appending(path, entry.name), path::appending(toPath, entry.name));
        succeeded = succeeded && moved;
    }
    return succeeded;
}

bool QFAuthorization::authMoveFile(const std::optional<std::string>& path,
                                   const std::optional<std::string>& toPath) {
    return bothGiven(path, toPath, moveFromNothing, moveToNothing) &&
           startMoving(*path, *toPath).status == 0;
}

QFAuthorization::StartedTool QFAuthorization::startMoving(const std::string& path,
                                                          const std::string& toPath) {
    if (isRefused(path, refusedToMove) || !platform::service<platform::FileSystem>().exists(path)) {
        return {.status = refused};
    }
    return startTool("/bin/mv", {"-f", path, toPath});
}

bool QFAuthorization::authCopyFile(const std::optional<std::string>& path,
                                   const std::optional<std::string>& toPath) {
    if (!bothGiven(path, toPath, authCopyFromNothing, authCopyToNothing) ||
        !platform::service<platform::FileSystem>().exists(*path)) {
        return false;
    }
    return startTool("/bin/cp", {"-f", "-p", "-R", *path, *toPath}).status == 0;
}

bool QFAuthorization::authCreateDir(const std::string& path) {
    if (isSuperuser()) {
        startAsSuperuser("/bin/mkdir", {"-p", path});
        return true;
    }
    if (authExecTask("/bin/mkdir", {"-p", path}) != 0) {
        return false;
    }
    platform::sleep(pauseAfterCreation);
    return true;
}
