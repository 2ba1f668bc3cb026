#pragma once

#include "platform/linux/authorization/helper/Command.h"
#include "platform/linux/authorization/helper/Terms.h"

#include <sys/types.h>

namespace qf::native::helper {

/// Throws a Refusal unless the plan of a program names what a task does for this user: a move of
/// planned items to the user's Trash, a move from there to a planned place where nothing is, with
/// the directories on the way, a removal of a job's file, which from then on takes no directory
/// away, and a removal of planned items from the Trash, which goes into no other file system. What
/// goes to a place outside the home directory is root's, for the user could have made anything
/// else.
void requirePlanned(Task& task, Plan plan, uid_t user);

} // namespace qf::native::helper
