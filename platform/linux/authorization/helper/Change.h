#pragma once

#include "platform/linux/authorization/helper/Command.h"

namespace qf::native::helper {

// What is done to one item, which exists and is no link. Each throws a Refusal when it cannot.

/// Sets the times to now.
void touch(const Change& change);

/// Lets its owner write and everybody read, and nobody anything else.
void letEverybodyRead(const Change& change);

/// Makes root and root's group its owners. A plain file that is somebody else's, or is to have a
/// content, is replaced by a new one, which only root may write to: no descriptor that somebody has
/// kept leads there. Without a content it gets what the former file holds.
void giveToRoot(const Change& change);

/// Makes the directories that do not exist yet, each in the one before.
void makeDirectories(const Directories& directories);

} // namespace qf::native::helper
