#pragma once

#include "app/Explanations.h"
#include "app/records/RunRecords.h"
#include "platform/foundation/Error.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <exception>
#include <string>
#include <vector>

namespace records {

/// Which item it is, counted from 1, of how many.
struct Progress {
    std::size_t number = 0;
    std::size_t total = 0;
};

/// Is notified while items are put back or deleted, on the thread that does so.
class UndoObserver {
public:
    UndoObserver() = default;
    virtual ~UndoObserver() = default;
    UndoObserver(const UndoObserver&) = delete;
    UndoObserver& operator=(const UndoObserver&) = delete;
    UndoObserver(UndoObserver&&) = delete;
    UndoObserver& operator=(UndoObserver&&) = delete;

    /// The item that belongs at the path is next.
    virtual void itemBegan(const std::string& /*path*/, Progress /*progress*/) {}
};

/// Returns the progress before the first of the steps of the runs that are meant.
template <class Predicate>
Progress progressThrough(const std::vector<RunRecord>& runs, Predicate isMeant) {
    Progress progress;
    for (const auto& run : runs) {
        progress.total += static_cast<std::size_t>(std::ranges::count_if(run.steps, isMeant));
    }
    return progress;
}

/// Returns whether a failure is one that the administrator's right may help with: not that a volume
/// is full or read-only, for example.
inline bool takesRight(const qf::Error& error) {
    return error.code == EACCES || error.code == EPERM;
}

/// Adds what is expected of an item, unless it is there already: a run that was killed may have a
/// record of what the next one took.
template <class Item>
void addOnce(std::vector<Item>& items, Item item) {
    if (std::ranges::none_of(items, [&item](const Item& other) {
            return other.path == item.path && other.place == item.place;
        })) {
        items.push_back(std::move(item));
    }
}

/// Adds what became of an item. Of one that two runs have records of, the same outcome is told
/// once, and `nothing`, which means that there was nothing to do, only if there is no other.
template <class Item, class Outcome>
void addOutcome(std::vector<Item>& items, Item item, Outcome nothing) {
    if (std::ranges::none_of(items, [&](const Item& other) {
            const bool isSame = other.place == item.place && other.outcome == item.outcome;
            return other.path == item.path && (isSame || item.outcome == nothing);
        })) {
        items.push_back(std::move(item));
    }
}

/// What undoing runs came to.
template <class Item>
struct Undone {
    std::vector<Item> items; ///< What became of each item, in order, as far as it went.
    std::string failure;     ///< Why it ended early, in the user's words; empty if it did not.
};

/// Calls `work` with the list that it adds the items to. An exception ends the work early and is
/// the failure; what is in the list by then stays.
template <class Item, class Work>
Undone<Item> undoneBy(Work work) {
    Undone<Item> undone;
    try {
        work(undone.items);
    } catch (const std::exception& exception) {
        undone.failure = explanationOf(exception);
    }
    return undone;
}

} // namespace records
