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
    /// Where in the Trash an item that was moved is; empty if that is unknown.
    std::string trashed;
    /// Why an item was left in place, in the user's words.
    std::string reason;
    /// The last cause of that alone, which several items may share.
    std::string cause;
};

/// Returns what became of each row, from its state before the run, what was observed during the
/// run, and what exists now. An item of a repeated row that is gone was absent when that row was
/// performed.
std::vector<RowOutcome> outcomesOf(const std::vector<InventoryRow>& before,
                                   const RunObserver& observer);

/// Returns the sum of the rows' sizes, in bytes.
std::uint64_t totalSize(const std::vector<InventoryRow>& rows);

/// Returns a size in bytes for a person, such as "1.2 MB".
std::string readableSize(std::uint64_t size);

/// Returns the rows as lines for a person, with the sums last.
std::string listAsText(const std::vector<InventoryRow>& rows);

/// Returns the rows as a JSON document for programs.
std::string listAsJson(const std::vector<InventoryRow>& rows, RemoveShared removeShared);

/// Returns a run's report as a JSON document for programs. `result` is "running", "cancelled",
/// "complete" or "leftInPlace".
std::string reportAsJson(const std::string& result, RemoveShared removeShared,
                         const std::vector<RowOutcome>& outcomes);

} // namespace cli
