#pragma once

#include "platform/linux/authorization/helper/Command.h"
#include "platform/linux/posix/FileDescriptor.h"

namespace qf::native::helper {

/// Puts a copy in its place, in a process of its own, and tells whether it is done. Closes `report`
/// when it has begun; throws a Refusal before that.
bool carryOut(const Copy& copy, FileDescriptor& report);

/// Whether an item that can be renamed goes by way of a stage beside its destination: from a
/// directory of a user's to one of root's only the item that was checked goes, even if a group may
/// change that one too.
bool goesByStage(const Place& from, const Place& to);

/// Carries a move out, in a process of its own, and tells whether it is done. The item stays where
/// it is until a whole copy of it is in its place. Closes `report` when the move has begun; throws
/// a Refusal before that. Moves that share `turns` copy one after the other.
bool carryOut(const Move& move, FileDescriptor& report, const FileDescriptor& turns);

} // namespace qf::native::helper
