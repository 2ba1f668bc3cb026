#pragma once

#include "app/UninstallPlan.h"

#include <cstdint>
#include <string>
#include <vector>

/// The state of an item that a run would take away.
enum class ItemState {
    none,     ///< the row takes no item away
    absent,   ///< nothing is there
    found,    ///< something is there
    repeated, ///< something is there, which a row before this one takes away
};

/// One row of a run, with the item that it takes away.
struct InventoryRow {
    /// What is done, and to what, as in the plan's row.
    PlanAction action;
    std::string subject;
    std::vector<std::string> names;
    /// Where the item is, or would be; empty if there is no such place.
    std::string path;
    ItemState state = ItemState::none;
    /// The item's size in bytes, contents included; 0 unless it was found and sizes were requested.
    std::uint64_t size = 0;
    /// Those of the names that are programs which run; empty unless findRunning() has looked.
    std::vector<std::string> running = {};

    bool operator==(const InventoryRow&) const = default;
};

/// Whether sizes are wanted. They require a visit to everything inside the items.
enum class Sizes { no, yes };

/// Reports what a run would do now.
class Inventory {
public:
    virtual ~Inventory() = default;

    /// Returns the rows in the order of a run. Changes nothing, and skips what the current user may
    /// not read. Any thread.
    virtual std::vector<InventoryRow> take(RemoveShared removeShared, Sizes sizes) = 0;
};
