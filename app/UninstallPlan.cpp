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
        return QFLocalPaths::applicationDirectory(qf::Domain::local);
    case PlanBase::appSupportUser:
        return QFLocalPaths::appSupportDirectory(qf::Domain::user);
    case PlanBase::cachesUser:
        return QFLocalPaths::cacheDirectory(qf::Domain::user);
    case PlanBase::prefsUser:
        return QFLocalPaths::prefsDirectory(qf::Domain::user);
    case PlanBase::prefsLocal:
        return QFLocalPaths::prefsDirectory(qf::Domain::local);
    case PlanBase::libraryLocal:
        return QFLocalPaths::libraryDirectory(qf::Domain::local);
    case PlanBase::libraryUser:
        return QFLocalPaths::libraryDirectory(qf::Domain::user);
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
    return {step.action, directory.empty() ? full : qf::path::appending(directory, full), {}};
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
    const auto path = qf::service<qf::Workspace>().applicationPath(bundleIdentifier);
    return path ? std::vector{*path} : std::vector<std::string>();
}

std::string directoryOfReceipts(const std::string& library) {
    return qf::path::appending(library, "Receipts");
}

/// Returns the receipts that begin with the prefix, in the order of the listing.
std::vector<std::string> pathsOfReceipts(const std::string& library, const std::string& prefix) {
    const auto directory = directoryOfReceipts(library);
    const auto entries = qf::service<qf::FileSystem>().contentsOfDirectory(directory);
    std::vector<std::string> paths;
    for (const auto& entry : entries.value_or(std::vector<qf::DirectoryEntry>())) {
        if (qf::text::hasPrefixIgnoringCase(entry.name, prefix)) {
            paths.push_back(qf::path::appending(directory, entry.name));
        }
    }
    return paths;
}

void logFailure(const qf::Exception& failure) {
    QFException::logException(failure, "walkUninstallPlan");
}

/// Logs what the step throws, so that the walk goes on whatever happens.
template <class Step>
void attempt(Step step) noexcept {
    try {
        try {
            step();
        } catch (const qf::Exception& exception) {
            logFailure(exception);
        } catch (const std::exception& exception) {
            logFailure({qf::exception_name::generic, exception.what()});
        } catch (...) {
            logFailure({qf::exception_name::generic, QFException::unknownReason});
        }
    } catch (const std::exception&) {
        // Without memory for its line a failure cannot be logged either.
    }
}

void trash(const std::string& path, PlanObserver& observer) {
    observer.itemBegan(path);
    observer.itemEnded(path, QFFileManager::trashFileWithResult(path, qf::ShouldAuth::yes));
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

/// Removes what killed processes left of copies beside the items of the plan, once in each
/// directory.
class AbandonedCopies {
public:
    void removeBeside(const std::vector<std::string>& paths) {
        for (const auto& path : paths) {
            removeIn(qf::path::deletingLastComponent(path));
        }
    }

    /// Removes them from the directories that the rows name themselves.
    void removeBeside(const std::vector<PlanRow>& rows) {
        removeBeside(namedPaths(rows));
        for (const auto& row : rows) {
            if (row.action == PlanAction::trashMatching) {
                removeIn(directoryOfReceipts(row.subject));
            }
        }
    }

private:
    void removeIn(const std::string& directory) {
        if (directories_.insert(directory).second) {
            qf::service<qf::FileSystem>().removeAbandonedCopies(directory);
        }
    }

    std::set<std::string> directories_;
};

/// Has the desktop record together where the items come from.
void announce(const std::vector<std::string>& paths) {
    qf::service<qf::Workspace>().prepareToRecycle(QFLocalPaths::trashDirectory(), paths);
}

void perform(const PlanRow& row, AbandonedCopies& abandoned, PlanObserver& observer) {
    if (row.action == PlanAction::kill) {
        QFTaskEx::runTask(row.subject, row.names);
    } else if (row.action == PlanAction::removeAgent) {
        QFLaunchd::removeLaunchAgent(row.subject, qf::Domain::user);
    }
    const auto paths = pathsToTrash(row);
    // Where a bundle is, the desktop is asked only now.
    attempt([&] { abandoned.removeBeside(paths); });
    for (const auto& path : paths) {
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
    AbandonedCopies abandoned;
    attempt([&] { abandoned.removeBeside(rows); });
    attempt([&] { announce(namedPaths(rows)); });
    for (const auto& row : rows) {
        attempt([&] { observer.rowBegan(row); });
        attempt([&] { perform(row, abandoned, observer); });
        attempt([&] { observer.rowEnded(row); });
    }
    attempt([] { qf::service<qf::Workspace>().makeTrashDurable(); });
    attempt([&] { observer.walkEnded(); });
}
