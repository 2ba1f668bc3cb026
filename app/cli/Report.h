#pragma once

#include "app/Inventory.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace cli {

class RunObserver;

/// What became of a row.
enum class Outcome {
    signalled, ///< the programs were asked to end
    moved,     ///< into the Trash
    deleted,
    absent,
    left, ///< in place
};

struct RowOutcome {
    InventoryRow row;
    Outcome outcome;
    /// Why an item was left in place, in the user's words.
    std::string reason;
};

/// What became of each row, from how it stood before the run, what was seen during it and what
/// stands there now. An item of a repeated row that has gone was absent when that row came.
std::vector<RowOutcome> outcomesOf(const std::vector<InventoryRow>& before,
                                   const RunObserver& observer);

/// The rows as lines for a person, the sums last.
std::string listAsText(const std::vector<InventoryRow>& rows);

/// The rows as a JSON document for programs.
std::string listAsJson(const std::vector<InventoryRow>& rows, RemoveShared removeShared);

/// A run's report as a JSON document for programs. `result` is "running", "cancelled", "complete"
/// or "leftInPlace".
std::string reportAsJson(const std::string& result, RemoveShared removeShared,
                         const std::vector<RowOutcome>& outcomes);

} // namespace cli
