#pragma once

#include "platform/foundation/Error.h"
#include "platform/linux/posix/Errno.h"

#include <cerrno>
#include <string>
#include <string_view>

namespace platform::native {

/// For a name that a volume does not allow. The system says EINVAL, which also means that
/// a directory would be put into itself.
constexpr Errno nameNotAllowed{EILSEQ};

/// For a name that a volume takes for that of another item of the same directory, as one
/// that does not heed case. The system says EEXIST, which also means that a place is taken.
constexpr Errno nameNotDistinct{ENOTUNIQ};

/// An item that is copied is another one than a moment ago, or changes meanwhile.
inline constexpr Errno changedMeanwhile{EAGAIN};

/// Why a system call failed, in a person's words, fit to follow "because": "you don’t have
/// permission". A number that a person rarely meets gets the system's own English description.
std::string reason(Errno number);

/// The sentence “item” couldn’t be `participle` because `why`. The item is made printable.
std::string failureSentence(std::string_view item, std::string_view participle,
                            std::string_view why);

/// The Error of a failed system call: `item` is the name of what it was about, `participle` what
/// could not be done to it ("removed", "moved to the Trash").
Error posixError(Errno number, std::string_view item, std::string_view participle);

/// As posixError, where the number alone would not tell a person why.
Error posixError(Errno number, std::string_view item, std::string_view participle,
                 std::string_view why);

/// What a port returns for the outcome of system calls: the Error is that of posixError().
Result<void> posixResult(const SystemResult<void>& result, std::string_view item,
                         std::string_view participle);

} // namespace platform::native
