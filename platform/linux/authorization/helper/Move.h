#pragma once

#include "platform/linux/authorization/helper/Command.h"
#include "platform/linux/posix/FileDescriptor.h"

namespace qf::native::helper {

/// Puts a copy in its place, in a process of its own, and tells whether it is done. Closes `report`
/// when it has begun; throws a Refusal before that.
bool carryOut(const Copy& copy, FileDescriptor& report);

/// Carries a move out, in a process of its own, and tells whether it is done. The item stays where
/// it is until a whole copy of it is in its place. Closes `report` when the move has begun; throws
/// a Refusal before that. Moves that share `turns` copy one after the other.
bool carryOut(const Move& move, FileDescriptor& report, const FileDescriptor& turns);

} // namespace qf::native::helper
