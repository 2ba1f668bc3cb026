#pragma once

namespace cli {

/// The process's exit statuses. The numbers are part of the interface.
enum class ExitStatus {
    complete = 0,
    failed = 1,
    usage = 2,
    leftInPlace = 3,
    cancelled = 4,
    nobodyToAsk = 5,
};

struct ExitStatusMeaning {
    ExitStatus status;
    const char* meaning;
};

inline constexpr ExitStatusMeaning exitStatusMeanings[] = {
    {ExitStatus::complete,
     "Done: all that was found is in the Trash, back or deleted, or was printed."},
    {ExitStatus::failed,
     "Could not begin or go on, use a record, or write the list or report; a line says why."},
    {ExitStatus::usage, "The options are wrong or contradict one another."},
    {ExitStatus::leftInPlace, "Done, but something was left where it was."},
    {ExitStatus::cancelled, "Cancelled: nothing was removed or deleted."},
    {ExitStatus::nobodyToAsk, "Neither a display nor a terminal to ask on."},
};

} // namespace cli
