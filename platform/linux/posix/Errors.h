#pragma once

#include "platform/foundation/Error.h"
#include "platform/linux/posix/Errno.h"

#include <cerrno>
#include <string>
#include <string_view>

namespace platform::native {

/// A volume does not allow the name. The system reports EINVAL, which also means that a directory
/// would be put into itself.
constexpr Errno nameNotAllowed{EILSEQ};

/// A volume does not distinguish the name from that of another item in the same directory, because
/// it ignores case, for example. The system reports EEXIST, which also means that the destination
/// exists.
constexpr Errno nameNotDistinct{ENOTUNIQ};

/// A volume cannot hold the extended attributes of an item, however much room it has. The system
/// reports ENOSPC, which also means that the volume is full.
constexpr Errno attributesTooLarge{E2BIG};

/// An item being copied was replaced or changed meanwhile.
inline constexpr Errno changedMeanwhile{EAGAIN};

/// Returns why a system call failed, in words that can follow "because": "you don’t have
/// permission". For rarely seen numbers, returns the system's own English description.
std::string reason(Errno number);

/// What could not be done to an item, as a participle: "removed", "moved to the Trash".
class Participle {
public:
    /// Holds the words, which must outlive it. Converts implicitly, so that callers name the words
    /// alone.
    constexpr Participle(const char* words) : words_(words) {}

    constexpr const char* words() const { return words_; }

private:
    const char* words_;
};

/// Returns the sentence “item” couldn’t be `participle` because `why`. The item is made printable.
std::string failureSentence(std::string_view item, Participle participle, std::string_view why);

/// Returns the Error of a failed system call: `item` is the name of the item concerned.
Error posixError(Errno number, std::string_view item, Participle participle);

/// Like posixError above, for when the number alone would not explain the failure to a user.
Error posixError(Errno number, std::string_view item, Participle participle, std::string_view why);

/// Returns the outcome of system calls as a port's result: the Error is that of posixError().
Result<void> posixResult(const SystemResult<void>& result, std::string_view item,
                         Participle participle);

} // namespace platform::native
