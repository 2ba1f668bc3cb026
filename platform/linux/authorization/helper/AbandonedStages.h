#pragma once

#include "platform/linux/authorization/helper/Command.h"
#include "platform/linux/authorization/helper/Walk.h"

#include <optional>

namespace qf::native::helper {

/// Removes from a directory the stages of processes that were killed, with the copies in them, by
/// the tool. What was renamed into a stage is nobody's copy, and stays. Whatever cannot be removed
/// stays too.
void removeAbandonedStages(const Item& parent, const Tool& remover);

/// Where nothing is at the source of a move nor at its destination, finds the stage of a process
/// that was killed after it had renamed the item into it, for just this move. The source's item is
/// then the one in the stage: the very item that was to be moved. Removes stages of such processes
/// that are empty. Throws a Refusal.
std::optional<AbandonedStage> findAbandonedItem(Place& source, const Place& destination);

} // namespace qf::native::helper
