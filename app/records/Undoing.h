#pragma once

#include "app/Explanations.h"
#include "platform/foundation/Error.h"

#include <cerrno>
#include <exception>
#include <string>
#include <vector>

namespace records {

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
    virtual void itemBegan(const std::string& /*path*/) {}
};

/// Returns whether a failure is one that the administrator's right may help with: not that a volume
/// is full or read-only, for example.
inline bool takesRight(const platform::Error& error) {
    return error.code == EACCES || error.code == EPERM;
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
