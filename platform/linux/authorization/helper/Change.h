#pragma once

#include "platform/linux/authorization/helper/Command.h"

namespace platform::native::helper {

// What is done to one item, which exists and is no link. Each throws a Refusal when it cannot.

/// Sets the times to now.
void touch(const Place& place);

/// Lets its owner write and everybody read, and nobody anything else.
void letEverybodyRead(const Place& place);

/// Gives it to root and root's group. A plain file of somebody else's is replaced by a copy, so
/// that no descriptor which that one has kept leads to it.
void giveToRoot(const Place& place);

/// Makes the directories that do not exist yet, each in the one before.
void makeDirectories(const Directories& directories);

} // namespace platform::native::helper
