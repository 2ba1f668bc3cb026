#pragma once

#include "app/Inventory.h"
#include "app/cli/Report.h"
#include "app/cli/Undone.h"
#include "platform/qt/ItemsWindow.h"

#include <string>
#include <vector>

namespace start {

/// Returns the window that lists what a run would remove, from the inventory of it, sizes included.
/// Looks up which items the user may not move without an administrator's password.
qf::qt::ItemsDescription plannedItems(const std::vector<InventoryRow>& rows);

/// Returns the window that lists what a run left in place, each reason once.
qf::qt::ItemsDescription itemsLeft(const std::vector<cli::RowOutcome>& left);

/// Returns the window that says what became of the items that were to be put back.
qf::qt::ItemsDescription itemsPutBack(const cli::Undone& result);

/// Returns the window that says that a run is not wholly recorded, and why.
qf::qt::ItemsDescription notRecorded(const std::string& reason);

} // namespace start
