#pragma once

#include "app/PlanAction.h"
#include "app/PlanObserver.h"

#include <string>
#include <vector>

/// The action's name as it stands above, for lists and reports.
const char* nameOf(PlanAction action);

/// One row of the plan, resolved: it needs nothing more than to be performed.
struct PlanRow {
    PlanAction action;
    std::string subject;
    std::vector<std::string> names;

    bool operator==(const PlanRow&) const = default;
};

/// Whether the items that all of Quillfen's products share go too.
enum class RemoveShared { no, yes };

/// The rows of one run, in the order in which they are performed, with every standard location
/// resolved for the current user. The disk is not touched. A row whose location the system does
/// not have is left out. Any thread may call it.
std::vector<PlanRow> uninstallPlan(RemoveShared removeShared);

/// What a row trashes, in that order, whether anything stands there or not: nothing for a row that
/// trashes nothing, for an application that the system does not know, and for receipts that cannot
/// be listed. Throws the platform exceptions of what it asks the system. Any thread may call it.
std::vector<std::string> pathsToTrash(const PlanRow& row);

/// Performs the rows from the first to the last, and tells the observer. No row's result is looked
/// at, and none can stop the walk: what cannot be removed stays where it is. A platform exception
/// that a row lets out is logged. Runs on the caller's thread, which it blocks until the last row
/// is done; never the main thread.
void walkUninstallPlan(const std::vector<PlanRow>& rows, PlanObserver& observer);
