#pragma once

#include "platform/Language.h"
#include "platform/foundation/Error.h"
#include "platform/linux/posix/Errno.h"

#include <cerrno>
#include <string>
#include <string_view>

namespace qf::native {

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
/// permission". For rarely seen numbers, the words contain the system's own English description.
std::string reason(Errno number);

/// What could not be done to an item, as a participle: "removed", "moved to the Trash".
class Participle {
public:
    /// Hold the words, which must outlive it: in English, or translated for the person. Convert
    /// implicitly, so that callers name the words alone.
    constexpr Participle(const char* words) : words_{"", words} {}
    constexpr Participle(const Translatable& words) : words_(words) {}

    std::string words() const { return translated(words_); }

private:
    Translatable words_;
};

/// The participles that people read.
namespace participle {
inline constexpr Participle changed = translatable("participle", "changed");
inline constexpr Participle copied = translatable("participle", "copied");
inline constexpr Participle created = translatable("participle", "created");
inline constexpr Participle deleted = translatable("participle", "deleted");
inline constexpr Participle labelled = translatable("participle", "labelled");
inline constexpr Participle locked = translatable("participle", "locked");
inline constexpr Participle moved = translatable("participle", "moved");
inline constexpr Participle movedToTrash = translatable("participle", "moved to the Trash");
inline constexpr Participle opened = translatable("participle", "opened");
inline constexpr Participle putBack = translatable("participle", "put back");
inline constexpr Participle read = translatable("participle", "read");
inline constexpr Participle removed = translatable("participle", "removed");
inline constexpr Participle saved = translatable("participle", "saved");
inline constexpr Participle unlocked = translatable("participle", "unlocked");
inline constexpr Participle writtenTo = translatable("participle", "written to");
} // namespace participle

/// Returns the sentence “item” couldn’t be `participle` because `why`. The item is made printable.
std::string failureSentence(std::string_view item, Participle participle, std::string_view why);

/// Returns the Error of a failed system call: `item` is the name of the item concerned.
Error posixError(Errno number, std::string_view item, Participle participle);

/// Like posixError above, for when the number alone would not explain the failure to a user.
Error posixError(Errno number, std::string_view item, Participle participle, std::string_view why);

/// Returns the outcome of system calls as a port's result: the Error is that of posixError().
Result<void> posixResult(const SystemResult<void>& result, std::string_view item,
                         Participle participle);

} // namespace qf::native
