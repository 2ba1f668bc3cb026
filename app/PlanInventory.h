#pragma once

#include "app/Inventory.h"

/// The inventory of the uninstall plan on this machine.
class PlanInventory final : public Inventory {
public:
    /// Returns one row for each row of the plan, except that matching receipts have one row each.
    std::vector<InventoryRow> take(RemoveShared removeShared, Sizes sizes) override;
};
