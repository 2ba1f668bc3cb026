#pragma once

#include "app/UninstallPlan.h"

#include <cstdint>
#include <string>
#include <vector>

/// How an item that a run would take away stands.
enum class ItemState {
    none,     ///< the row takes no item away
    absent,   ///< nothing is there
    found,    ///< something is there
    repeated, ///< something is there, which a row before this one takes away
};

/// One row of what a run does, with the item that it takes away.
struct InventoryRow {
    /// What is done, and to what, as in the plan's row.
    PlanAction action;
    std::string subject;
    std::vector<std::string> names;
    /// Where the item is, or would be; empty where there is no such place.
    std::string path;
    ItemState state = ItemState::none;
    /// In bytes, with all that is in it; 0 unless it was found and sizes were asked for.
    std::uint64_t size = 0;

    bool operator==(const InventoryRow&) const = default;
};

/// Whether sizes are wanted, for which all that is inside the items has to be visited.
enum class Sizes { no, yes };

/// What a run would do now.
class Inventory {
public:
    virtual ~Inventory() = default;

    /// The rows in the order in which they would be done. Nothing is changed, and what the current
    /// user may not read is passed over. Any thread.
    virtual std::vector<InventoryRow> take(RemoveShared removeShared, Sizes sizes) = 0;
};
