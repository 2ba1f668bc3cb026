#include "util/auth/QFAuthorization.h"

#include "platform/Clock.h"
#include "platform/Console.h"
#include "platform/FileSystem.h"
#include "platform/ProcessLauncher.h"
#include "platform/Services.h"
#include "platform/Workspace.h"
#include "platform/foundation/Format.h"
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

namespace path = qf::path;

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

constexpr std::string_view itemDoesNotExist = "%@ does not exist.";
constexpr std::string_view toolNotStarted =
    "%@ could not be started with the administrator’s right.";

constexpr std::chrono::microseconds pauseAfterCreation{500};

using StartedTool = QFAuthorization::StartedTool;

/// Logs why a tool is not started, and returns that.
StartedTool loggedRefusal(std::string reason, int status = QFAuthorization::refused) {
    qf::systemLog("%@", reason);
    return {.status = status, .reason = std::move(reason)};
}

/// Returns no value unless the item is one that must not be touched, which is logged.
std::optional<StartedTool> refusedAsProtected(const std::string& item, std::string_view message) {
    return QFLocalPaths::isPathSystemDirectory(item, qf::ExactMatch::yes)
               ? std::optional(loggedRefusal(qf::format(message, item)))
               : std::nullopt;
}

/// Returns no value if both paths are present; logs a missing one.
std::optional<StartedTool> refusedAsNothing(const std::optional<std::string>& source,
                                            const std::optional<std::string>& destination,
                                            std::string_view fromNothing,
                                            std::string_view toNothing) {
    if (source && destination) {
        return std::nullopt;
    }
    return loggedRefusal(std::string(source ? toNothing : fromNothing));
}

/// Starts a tool with the process's own rights. A failure goes to the system log only: callers
/// treat the tool as started.
StartedTool startAsSuperuser(const std::string& tool, const std::vector<std::string>& arguments) {
    try {
        if (auto process = QFTaskEx::runTaskAndReturn(tool, arguments)) {
            return {.waitUntilExit = [process] { process->waitUntilExit(); }};
        }
    } catch (const qf::Exception& exception) {
        qf::systemLog("%@", exception.reason());
    }
    return {};
}

/// Returns no value if the tool exists or can be launched; otherwise logs that it does not.
std::optional<StartedTool> refusedAsMissing(const std::string& tool) {
    return qf::service<qf::ProcessLauncher>().canLaunch(tool) ||
                   qf::service<qf::FileSystem>().exists(tool)
               ? std::nullopt
               : std::optional(loggedRefusal(qf::format(toolDoesNotExist, tool),
                                             QFAuthorization::toolMissing));
}

/// Returns no value if an item exists; one that does not is not logged.
std::optional<StartedTool> refusedAsAbsent(const std::string& item) {
    return qf::service<qf::FileSystem>().exists(item)
               ? std::nullopt
               : std::optional(StartedTool{.status = QFAuthorization::refused,
                                           .reason = qf::format(itemDoesNotExist, item)});
}

/// Returns the result of an operation that is done once its tool is started.
qf::Result<void> resultOf(const StartedTool& tool) {
    if (tool.status == 0) {
        return {};
    }
    return qf::Unexpected(qf::Error{.domain = QFAuthorization::errorDomain,
                                    .code = tool.right.value_or(tool.status),
                                    .localizedDescription = tool.reason});
}

/// Adds the result of one of several operations, which go on after a failure.
void addResult(qf::Result<void> one, qf::Result<void>& all) {
    if (all) {
        all = std::move(one);
    }
}

std::vector<qf::DirectoryEntry> entries(const std::string& directory) {
    return qf::service<qf::FileSystem>().contentsOfDirectory(directory).value_or(
        std::vector<qf::DirectoryEntry>());
}

std::string timestamp() {
    auto& clock = qf::service<qf::Clock>();
    const std::tm now = clock.localTime(clock.now());
    std::array<char, 32> digits{};
    const std::size_t length = std::strftime(digits.data(), digits.size(), "%Y%m%d%H%M%S", &now);
    return {digits.data(), length};
}

} // namespace

int QFAuthorization::authExecTask(const std::string& path,
                                  const std::vector<std::string>& parameters, qf::Async async) {
    return runTool(path, parameters, async, std::nullopt).status;
}

int QFAuthorization::authExecTask(const std::string& path,
                                  const std::vector<std::string>& parameters) {
    return authExecTask(path, parameters, qf::Async::yes);
}

int QFAuthorization::authExecTask(const std::string& path,
                                  const std::vector<std::string>& parameters,
                                  const std::string& content) {
    return runTool(path, parameters, qf::Async::yes, content).status;
}

QFAuthorization::StartedTool QFAuthorization::runTool(const std::string& path,
                                                      const std::vector<std::string>& arguments,
                                                      qf::Async async,
                                                      const std::optional<std::string>& content) {
    if (auto missing = refusedAsMissing(path)) {
        return *std::move(missing);
    }
    if (isSuperuser()) {
        if (async == qf::Async::yes) {
            return startAsSuperuser(path, arguments);
        }
        QFTaskEx::runTask(path, arguments);
        return {};
    }
    auto tool = startWithRight(path, arguments, content);
    if (async == qf::Async::no && tool.waitUntilExit) {
        tool.waitUntilExit();
    }
    return tool;
}

QFAuthorization::StartedTool
QFAuthorization::startWithRight(const std::string& path, const std::vector<std::string>& arguments,
                                const std::optional<std::string>& content) {
    const auto answer = isAuthorized() ? std::nullopt : obtainRight();
    if (!isAuthorized()) {
        return {.status = notAuthorized,
                .right = answer,
                .reason = withoutRight(answer).localizedDescription};
    }
    auto tool = qf::service<qf::AuthorizationServices>().executeWithPrivileges(
        authRef_, path, qf::kAuthorizationFlagDefaults, arguments, content);
    if (!tool) {
        return {.status = tool.error(),
                .right = tool.error(),
                .reason = qf::format(toolNotStarted, path)};
    }
    // The output ends when the tool ends.
    const std::shared_ptr<std::istream> output = *std::move(tool);
    return {.right = qf::errAuthorizationSuccess, .waitUntilExit = [output] {
                output->ignore(std::numeric_limits<std::streamsize>::max());
            }};
}

// For the superuser the tool is started without checking that it exists.
QFAuthorization::StartedTool QFAuthorization::startTool(const std::string& path,
                                                        const std::vector<std::string>& arguments) {
    if (isSuperuser()) {
        return startAsSuperuser(path, arguments);
    }
    auto missing = refusedAsMissing(path);
    return missing ? *std::move(missing) : startWithRight(path, arguments, std::nullopt);
}

bool QFAuthorization::authRemoveFile(const std::string& path) {
    return authRemoveFileWithResult(path).ok();
}

qf::Result<void> QFAuthorization::authRemoveFileWithResult(const std::string& path) {
    const auto refusal = refusedAsProtected(path, refusedToDelete);
    return resultOf(refusal ? *refusal
                            : runTool("/bin/rm", {"-Rdf", path}, qf::Async::yes, std::nullopt));
}

QFAuthorization::StartedTool QFAuthorization::startRemoving(const std::string& path) {
    auto refusal = refusedAsProtected(path, refusedToDelete);
    return refusal ? *std::move(refusal) : startTool("/bin/rm", {"-Rdf", path});
}

bool QFAuthorization::authTrashFile(const std::string& path) {
    return authTrashFile(path, qf::DeleteOnRootAccount::no);
}

bool QFAuthorization::authTrashFile(const std::string& path,
                                    qf::DeleteOnRootAccount deleteOnRootAccount) {
    return authTrashFileWithResult(path, deleteOnRootAccount).ok();
}

qf::Result<void>
QFAuthorization::authTrashFileWithResult(const std::string& path,
                                         qf::DeleteOnRootAccount deleteOnRootAccount) {
    if (!deletesInsteadOfTrashing(deleteOnRootAccount)) {
        return resultOf(startTrashing(path));
    }
    const auto refusal = refusedAsProtected(path, refusedToTrash);
    return refusal ? resultOf(*refusal) : authRemoveFileWithResult(trashDestination(path));
}

QFAuthorization::StartedTool QFAuthorization::startTrashing(const std::string& path) {
    if (auto refusal = refusedAsProtected(path, refusedToTrash)) {
        return *std::move(refusal);
    }
    const std::string destination = trashDestination(path);
    auto& workspace = qf::service<qf::Workspace>();
    if (trashIsOwn()) {
        workspace.makeTrash(QFLocalPaths::trashDirectory());
    }
    const auto recorded = workspace.moveTrashed(path, destination);
    if (!recorded) {
        return {.status = refused};
    }
    const auto end = *recorded;
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

bool QFAuthorization::deletesInsteadOfTrashing(qf::DeleteOnRootAccount deleteOnRootAccount) const {
    return deleteOnRootAccount == qf::DeleteOnRootAccount::yes && !userDirectory_ && isSuperuser();
}

// The Trash must belong to its user: the superuser creates none for somebody else.
bool QFAuthorization::trashIsOwn() const {
    return !isSuperuser() || !userDirectory_;
}

std::string QFAuthorization::trashDestination(const std::string& path) const {
    const std::string name = path::lastComponent(path);
    std::string destination = path::appending(QFLocalPaths::trashDirectory(), name);
    if (!trashIsOwn()) {
        destination = *userDirectory_ + "/.Trash/" + name;
    }
    if (qf::service<qf::FileSystem>().exists(destination)) {
        destination =
            path::deletingExtension(destination) + "_" + timestamp() + "." + path::extension(path);
    }
    return destination;
}

bool QFAuthorization::authTrashFolderContents(const std::string& path) {
    return authTrashFolderContents(path, qf::DeleteOnRootAccount::no);
}

bool QFAuthorization::authTrashFolderContents(const std::string& path,
                                              qf::DeleteOnRootAccount deleteOnRootAccount) {
    return authTrashFolderContentsWithResult(path, deleteOnRootAccount).ok();
}

qf::Result<void>
QFAuthorization::authTrashFolderContentsWithResult(const std::string& path,
                                                   qf::DeleteOnRootAccount deleteOnRootAccount) {
    if (const auto refusal = refusedAsProtected(path, refusedToTrashContents)) {
        return resultOf(*refusal);
    }
    const bool deletes = deletesInsteadOfTrashing(deleteOnRootAccount);
    qf::Result<void> result;
    for (const auto& entry : entries(path)) {
        const std::string item = path::appending(path, entry.name);
        addResult(
            deletes ? resultOf(runTool("/bin/rm", {"-R", "-f", item}, qf::Async::yes, std::nullopt))
                    : authTrashFileWithResult(item, qf::DeleteOnRootAccount::no),
            result);
    }
    return result;
}

bool QFAuthorization::authMoveFolderContents(const std::string& path, const std::string& toPath) {
    return authMoveFolderContentsWithResult(path, toPath).ok();
}

qf::Result<void> QFAuthorization::authMoveFolderContentsWithResult(const std::string& path,
                                                                   const std::string& toPath) {
    if (const auto refusal = refusedAsProtected(path, refusedToMoveContents)) {
        return resultOf(*refusal);
    }
    qf::Result<void> result;
    for (const auto& entry : entries(path)) {
        addResult(authMoveFileWithResult(path::appending(path, entry.name),
                                         path::appending(toPath, entry.name)),
                  result);
    }
    return result;
}

bool QFAuthorization::authMoveFile(const std::optional<std::string>& path,
                                   const std::optional<std::string>& toPath) {
    return authMoveFileWithResult(path, toPath).ok();
}

qf::Result<void> QFAuthorization::authMoveFileWithResult(const std::optional<std::string>& path,
                                                         const std::optional<std::string>& toPath) {
    const auto refusal = refusedAsNothing(path, toPath, moveFromNothing, moveToNothing);
    return resultOf(refusal ? *refusal : startMoving(*path, *toPath));
}

QFAuthorization::StartedTool QFAuthorization::startMoving(const std::string& path,
                                                          const std::string& toPath) {
    if (auto refusal = refusedAsProtected(path, refusedToMove)) {
        return *std::move(refusal);
    }
    auto absence = refusedAsAbsent(path);
    const bool mayFinish = absence && !isSuperuser() &&
                           qf::service<qf::AuthorizationServices>().mayHaveUnfinishedMove(toPath);
    return absence && !mayFinish ? *std::move(absence) : startTool("/bin/mv", {"-f", path, toPath});
}

bool QFAuthorization::authCopyFile(const std::optional<std::string>& path,
                                   const std::optional<std::string>& toPath) {
    return authCopyFileWithResult(path, toPath).ok();
}

qf::Result<void> QFAuthorization::authCopyFileWithResult(const std::optional<std::string>& path,
                                                         const std::optional<std::string>& toPath) {
    if (const auto refusal =
            refusedAsNothing(path, toPath, authCopyFromNothing, authCopyToNothing)) {
        return resultOf(*refusal);
    }
    const auto absence = refusedAsAbsent(*path);
    return resultOf(absence ? *absence : startTool("/bin/cp", {"-f", "-p", "-R", *path, *toPath}));
}

bool QFAuthorization::authCreateDir(const std::string& path) {
    return authCreateDirWithResult(path).ok();
}

qf::Result<void> QFAuthorization::authCreateDirWithResult(const std::string& path) {
    if (isSuperuser()) {
        startAsSuperuser("/bin/mkdir", {"-p", path});
        return {};
    }
    const auto tool = runTool("/bin/mkdir", {"-p", path}, qf::Async::yes, std::nullopt);
    if (tool.status == 0) {
        qf::sleep(pauseAfterCreation);
    }
    return resultOf(tool);
}
