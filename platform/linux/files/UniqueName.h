#pragma once

#include "platform/linux/posix/EntryRef.h"
#include "platform/linux/posix/Errno.h"

#include <string>

namespace qf::native {

/// Returns `text` cut to at most `size` bytes, but not inside a character.
std::string cutTo(std::string text, std::size_t size);

/// Returns the name to use if `name` is taken, on the `count`th try, from 2 on: "name 2.ext". The
/// part before the extension is cut, between characters, if the name would be longer than the limit
/// of 255 bytes.
std::string numberedName(const std::string& name, int count);

/// Returns the first number from `first` on, or a later one, for which `isTaken` is false, with a
/// number of calls that grows with the logarithm of the result: so many items of one name take
/// little more time each than one. Gives up after millions, so that the caller sees why.
template <class IsTaken>
int freeNumber(int first, IsTaken isTaken) {
    constexpr int largestStep = 1 << 24;
    int taken = first - 1;
    int free = first;
    for (int step = 1; step < largestStep && isTaken(free); step *= 2) {
        taken = free;
        free += step;
    }
    while (free - taken > 1) {
        const int middle = taken + (free - taken) / 2;
        (isTaken(middle) ? taken : free) = middle;
    }
    return free;
}

/// Moves an entry into the open directory `destination`, under its own name or a numbered one that
/// is free there, the next one unless there are gaps, even to another volume, as moveItem() does.
/// Nothing is ever replaced, and a link is moved itself. Returns the name.
SystemResult<std::string> moveToUniqueName(const EntryRef& source, int destination);

} // namespace qf::native
