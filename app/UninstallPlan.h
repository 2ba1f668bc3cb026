#pragma once

#include "app/PlanAction.h"
#include "app/PlanObserver.h"

#include <string>
#include <vector>

/// Returns the action's name as it is spelled in PlanAction, for lists and reports.
const char* nameOf(PlanAction action);

/// One resolved row of the plan, ready to be performed.
struct PlanRow {
    PlanAction action;
    std::string subject;
    std::vector<std::string> names;

    bool operator==(const PlanRow&) const = default;
};

/// Whether to remove also the items that all of Quillfen's products share.
enum class RemoveShared { no, yes };

/// Returns the rows of one run, in the order in which they are performed, with every standard
/// location resolved for the current user. Does not touch the disk. Leaves out rows whose location
/// the system does not have. Any thread may call it.
std::vector<PlanRow> uninstallPlan(RemoveShared removeShared);

/// Returns the paths that a row trashes, in order, whether or not an item exists there. The list is
/// empty for a row that trashes nothing, for an application that the system does not know, and for
/// receipts that cannot be listed. Throws the platform exceptions of the services that it uses. Any
/// thread may call it.
std::vector<std::string> pathsToTrash(const PlanRow& row);

/// Performs the rows from the first to the last, and notifies the observer. Ignores each row's
/// result, and no row can stop the walk: what cannot be removed stays in place. Logs an exception
/// that an item, a row or the observer throws, and goes on with the next item or row. Blocks the
/// calling thread until the last row is done; never call it on the main thread.
void walkUninstallPlan(const std::vector<PlanRow>& rows, PlanObserver& observer);
