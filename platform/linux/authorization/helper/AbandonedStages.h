#pragma once

#include "platform/linux/authorization/helper/Command.h"
#include "platform/linux/authorization/helper/Walk.h"

namespace qf::native::helper {

/// Removes from a directory the stages of processes that were killed, with the copies in them, by
/// the tool. What was renamed into a stage is nobody's copy, and stays. Whatever cannot be removed
/// stays too.
void removeAbandonedStages(const Item& parent, const Tool& remover);

} // namespace qf::native::helper
