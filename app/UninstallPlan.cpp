#include "app/UninstallPlan.h"

#include "app/PlanTable.h"
#include "platform/FileSystem.h"
#include "platform/Services.h"
#include "platform/Workspace.h"
#include "platform/foundation/Exception.h"
#include "platform/foundation/Path.h"
#include "platform/foundation/Text.h"
#include "util/files/QFFileManager.h"
#include "util/launchd/QFLaunchd.h"
#include "util/log/QFException.h"
#include "util/paths/QFLocalPaths.h"
#include "util/task/QFTaskEx.h"

#include <exception>
#include <optional>
#include <set>
#include <string>
#include <string_view>

namespace {

/// Returns the directory that the names of a step are relative to, empty if they are whole paths.
/// No value if the system has no such location.
std::optional<std::string> directoryOf(PlanBase base) {
    switch (base) {
    case PlanBase::none:
        break;
    case PlanBase::applicationsLocal:
        return QFLocalPaths::applicationDirectory(Domain::local);
    case PlanBase::appSupportUser:
        return QFLocalPaths::appSupportDirectory(Domain::user);
    case PlanBase::cachesUser:
        return QFLocalPaths::cacheDirectory(Domain::user);
    case PlanBase::prefsUser:
        return QFLocalPaths::prefsDirectory(Domain::user);
    case PlanBase::prefsLocal:
        return QFLocalPaths::prefsDirectory(Domain::local);
    case PlanBase::libraryLocal:
        return QFLocalPaths::libraryDirectory(Domain::local);
    case PlanBase::libraryUser:
        return QFLocalPaths::libraryDirectory(Domain::user);
    }
    return "";
}

PlanRow killRow(const PlanStep& step) {
    return {step.action, std::string(step.prefix), {step.names.begin(), step.names.end()}};
}

/// Returns the row of one of a step's names; `directory` is the base's, empty if the step has no
/// base.
PlanRow row(const PlanStep& step, const std::string& directory, std::string_view name) {
    const auto full = std::string(step.prefix).append(name).append(step.suffix);
    if (step.action == PlanAction::trashMatching) {
        return {step.action, directory, {full}};
    }
    return {step.action, directory.empty() ? full : platform::path::appending(directory, full), {}};
}

void appendRows(const PlanStep& step, std::vector<PlanRow>& rows) {
    if (step.action == PlanAction::kill) {
        rows.push_back(killRow(step));
        return;
    }
    const auto directory = directoryOf(step.base);
    if (!directory) {
        return;
    }
    for (const auto name : step.names) {
        rows.push_back(row(step, *directory, name));
    }
}

std::vector<std::string> pathOfApplication(const std::string& bundleIdentifier) {
    const auto path = platform::service<platform::Workspace>().applicationPath(bundleIdentifier);
    return path ? std::vector{*path} : std::vector<std::string>();
}

/// Returns the receipts that begin with the prefix, in the order of the listing.
std::vector<std::string> pathsOfReceipts(const std::string& library, const std::string& prefix) {
    const auto entries = platform::service<platform::FileSystem>().contentsOfDirectory(
        platform::path::appending(library, "Receipts"));
    std::vector<std::string> paths;
    for (const auto& entry : entries.value_or(std::vector<platform::DirectoryEntry>())) {
        if (platform::text::hasPrefixIgnoringCase(entry.name, prefix)) {
            paths.push_back(std::string(library).append("/Receipts/").append(entry.name));
        }
    }
    return paths;
}

void logFailure(const platform::Exception& failure) {
    QFException::logException(failure, "walkUninstallPlan");
}

/// Logs what the step throws, so that the walk goes on whatever happens.
template <class Step>
void attempt(Step step) noexcept {
    try {
        try {
            step();
        } catch (const platform::Exception& exception) {
            logFailure(exception);
        } catch (const std::exception& exception) {
            logFailure({platform::exception_name::generic, exception.what()});
        }
    } catch (const std::exception&) {
        // Without memory for its line a failure cannot be logged either.
    }
}

void trash(const std::string& path, PlanObserver& observer) {
    observer.itemBegan(path);
    observer.itemEnded(path, QFFileManager::trashFileWithResult(path, ShouldAuth::yes));
}

/// Returns the paths that the rows name themselves.
std::vector<std::string> namedPaths(const std::vector<PlanRow>& rows) {
    std::vector<std::string> paths;
    for (const auto& row : rows) {
        if (row.action == PlanAction::trash) {
            paths.push_back(row.subject);
        }
    }
    return paths;
}

/// Removes what killed processes left of copies beside the items of the plan, once in each folder.
void removeAbandonedCopies(const std::vector<std::string>& paths) {
    std::set<std::string> folders;
    for (const auto& path : paths) {
        folders.insert(platform::path::deletingLastComponent(path));
    }
    for (const auto& folder : folders) {
        platform::service<platform::FileSystem>().removeAbandonedCopies(folder);
    }
}

/// Has the desktop record together where the items come from.
void announce(const std::vector<std::string>& paths) {
    platform::service<platform::Workspace>().prepareToRecycle(QFLocalPaths::trashDirectory(),
                                                              paths);
}

void perform(const PlanRow& row, PlanObserver& observer) {
    if (row.action == PlanAction::kill) {
        QFTaskEx::runTask(row.subject, row.names);
    } else if (row.action == PlanAction::removeAgent) {
        QFLaunchd::removeLaunchAgent(row.subject, Domain::user);
    }
    for (const auto& path : pathsToTrash(row)) {
        attempt([&] { trash(path, observer); });
    }
}

} // namespace

const char* nameOf(PlanAction action) {
    switch (action) {
    case PlanAction::kill:
        return "kill";
    case PlanAction::trashBundle:
        return "trashBundle";
    case PlanAction::trash:
        return "trash";
    case PlanAction::removeAgent:
        return "removeAgent";
    case PlanAction::trashMatching:
        return "trashMatching";
    }
    return "";
}

std::vector<PlanRow> uninstallPlan(RemoveShared removeShared) {
    std::vector<PlanRow> rows;
    for (const auto& step : plan_table::steps) {
        if (step.condition == Condition::always || removeShared == RemoveShared::yes) {
            appendRows(step, rows);
        }
    }
    return rows;
}

std::vector<std::string> pathsToTrash(const PlanRow& row) {
    switch (row.action) {
    case PlanAction::trashBundle:
        return pathOfApplication(row.subject);
    case PlanAction::trash:
        return {row.subject};
    case PlanAction::trashMatching:
        return pathsOfReceipts(row.subject, row.names.front());
    case PlanAction::kill:
    case PlanAction::removeAgent:
        break;
    }
    return {};
}

void walkUninstallPlan(const std::vector<PlanRow>& rows, PlanObserver& observer) {
    attempt([&] { removeAbandonedCopies(namedPaths(rows)); });
    attempt([&] { announce(namedPaths(rows)); });
    for (const auto& row : rows) {
        attempt([&] { observer.rowBegan(row); });
        attempt([&] { perform(row, observer); });
        attempt([&] { observer.rowEnded(row); });
    }
    attempt([] { platform::service<platform::Workspace>().makeTrashDurable(); });
    attempt([&] { observer.walkEnded(); });
}
