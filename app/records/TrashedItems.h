#pragma once

#include "app/records/RunRecord.h"
#include "platform/Workspace.h"

#include <optional>
#include <string>
#include <vector>

namespace records {

/// Returns whether an item is the recorded one: by its identity or, as a copy on another volume has
/// none of that, by its kind, size and modification date.
bool isRecordedItem(const platform::ItemAttributes& item, const platform::ItemAttributes& recorded);

/// What is in the user's Trash at a moment, to find the items that runs have put there. A step's
/// record only says what to look for: no item is ever found outside the Trash. Not shared between
/// threads.
class TrashedItems {
public:
    /// Looks at the Trash.
    TrashedItems();

    /// Returns the path in the Trash of a step's item; no value if it is not there, or no longer.
    std::optional<std::string> find(const RecordedStep& step) const;

private:
    std::vector<platform::ItemInTrash> items_;
};

} // namespace records
