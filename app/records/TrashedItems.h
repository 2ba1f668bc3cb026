#pragma once

#include "app/records/RunRecord.h"
#include "platform/Workspace.h"

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace records {

/// Returns whether an item is the recorded one: by its identity or, as a copy on another volume has
/// none of that, by its kind, size and modification date.
bool isRecordedItem(const qf::ItemAttributes& item, const qf::ItemAttributes& recorded);

/// Returns which directory an item is; no value if it is none, or if its volume keeps no creation
/// dates.
std::optional<DirectoryIdentity> identityOf(const qf::ItemAttributes& item);

/// Returns whether the item at a path is the one that a step took away. An application, which may
/// have been anywhere, must have the identifier of the step's row too.
bool isItemOf(const RecordedStep& step, const std::string& itemPath);

/// Returns whether the item at a path is the very directory that a step has put into the Trash,
/// whatever is left in it.
bool isDirectoryOf(const RecordedStep& step, const std::string& itemPath);

/// An item by its directory, which is held open.
class HeldItem {
public:
    /// Holds the directory of an item in the Trash. A link in place of the directory is not
    /// followed.
    static qf::Result<HeldItem> hold(const std::string& place);

    /// Returns the path of the item through its directory, as long as this object exists.
    const std::string& path() const { return path_; }

private:
    HeldItem(std::unique_ptr<qf::HeldDirectory> directory, std::string path)
        : directory_(std::move(directory)), path_(std::move(path)) {}

    std::unique_ptr<qf::HeldDirectory> directory_;
    std::string path_;
};

/// Deletes what a killed process has left in the Trash of a step's item that is no longer there.
void forget(const RecordedStep& step);

/// What is in the user's Trash at a moment, to find the items that runs have put there. A step's
/// record only says what to look for: no item is ever found outside the Trash. Not shared between
/// threads.
class TrashedItems {
public:
    /// Looks at the Trash. Throws qf::Exception "QFTrashUnreadable" if not all of it can be
    /// seen.
    TrashedItems();

    /// Returns the path in the Trash of a step's item; no value if it is not there, or no longer.
    std::optional<std::string> find(const RecordedStep& step) const;

    /// Returns the place in the Trash where a killed emptying has left a part of a step's
    /// directory; no value if none has, or if the whole item is back in its place.
    std::optional<std::string> findRemains(const RecordedStep& step) const;

    /// Returns where in the Trash a put-back that was killed may have left something of a step's
    /// item, which is no longer like it: the recorded place, if nothing is there or what came from
    /// the item's path. No value if nothing can be left.
    std::optional<std::string> findRest(const RecordedStep& step) const;

    /// Returns whether there is an item in the Trash that came from the path of a step's directory,
    /// by the Trash's own record: what is left of that, or another one. It has to be at the
    /// recorded place; if none is known, as after a kill, the directory has to be gone from its
    /// path.
    bool hasNamesake(const RecordedStep& step) const;

private:
    const qf::ItemInTrash* itemAtPlaceOf(const RecordedStep& step) const;

    std::vector<qf::ItemInTrash> items_;
};

} // namespace records
