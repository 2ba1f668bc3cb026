#pragma once

#include "platform/linux/authorization/helper/Command.h"
#include "platform/linux/authorization/helper/Reader.h"
#include "platform/linux/authorization/helper/Stage.h"

#include <string>
#include <vector>

namespace qf::native::helper {

/// Runs a tool to its end and tells whether it has done what it was to do.
bool succeeds(const Tool& tool, const std::vector<std::string>& arguments);

/// A name in a directory, and whether what has that name may be replaced: what was there when the
/// move was asked for, and nothing that has come since.
struct Destination {
    const Item& directory;
    const std::string& name;
    bool isTaken;
};

/// Renames an entry of an open directory.
SystemResult<void> renameTo(const Destination& destination, int directory, const std::string& name);

/// Puts copies of items in their places, in a process of its own. Why one cannot be put there is
/// for the system log.
class Placing {
public:
    /// For items that belong to this one. The tool removes what is left of a copy that fails. Both
    /// must outlive this. Throws a Refusal.
    Placing(const Item& item, const Tool& remover)
        : reader_(item.status.stx_uid), remover_(remover) {}

    /// Puts a whole copy in the place of this name in the directory, by way of a stage in it, and
    /// tells whether it is there. What may be anybody's work though it is root's becomes that of
    /// the directory's owner.
    bool put(const Item& item, const Stage& stage, const Destination& destination) const;

    /// Puts copies of all that is in a directory into another one that exists, directories into
    /// directories of their names, and tells whether all are there. What cannot replace what is
    /// there at once, and a directory that is another's than the one that it is in where others
    /// than root may change that, is left. In the end the directory, which the log calls by its
    /// name, has the other's owners, rights and times.
    bool merge(const Item& from, const Item& to, const std::string& name) const;

private:
    /// A directory that is merged into another one, so deep in the whole.
    struct Level {
        const Item& from;
        const Item& to;
        int number = 1;
    };

    bool mergeLevel(const Level& level, const std::string& name) const;
    bool mergeItems(const Level& level) const;
    bool mergeItem(const Item& item, const std::string& name, const Stage& stage,
                   const Level& level) const;

    const Reader reader_;
    const Tool& remover_;
};

/// Whether a copy may be merged into a directory that is in another one. Who may change that one
/// may have put it there.
bool mayMergeInto(const Item& directory, const Item& parent);

} // namespace qf::native::helper
