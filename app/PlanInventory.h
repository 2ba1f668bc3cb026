#pragma once

#include "app/Inventory.h"

/// What a run of the uninstall plan would take away from this machine.
class PlanInventory final : public Inventory {
public:
    /// A row of the plan gives one row, but for matching receipts, which give one each.
    std::vector<InventoryRow> take(RemoveShared removeShared, Sizes sizes) override;
};
