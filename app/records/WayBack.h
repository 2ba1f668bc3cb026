#pragma once

#include "app/records/RunRecord.h"

#include <string>

namespace records {

/// Returns whether the user is the superuser, who moves everything without a tool.
bool isSuperuser();

/// Returns whether anything is at a path, a link included.
bool isTaken(const std::string& itemPath);

/// Returns the first link on the way to an item that was no link when the step was recorded; empty
/// if the way is as it was.
std::string linkOnTheWay(const RecordedStep& step);

/// Returns whether an item that is not in the Trash may be where only the administrator gets at it,
/// because a tool was killed on the way to its place. Asks nobody.
bool mayBeOnItsWay(const RecordedStep& step);

} // namespace records
