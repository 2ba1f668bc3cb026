#pragma once

#include "platform/Inventory.h"

/// What a run of the uninstall plan would take away from this machine.
class PlanInventory final : public platform::Inventory {
public:
    /// A row of the plan gives one row, but for matching receipts, which give one each. `action` is
    /// the name of the PlanAction; `subject` and `names` are those of the plan's row.
    std::vector<platform::InventoryRow> take(platform::SharedItems sharedItems,
                                             platform::Sizes sizes) override;
};
