#include "platform/linux/posix/Errors.h"

#include "platform/foundation/Text.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace qf::native {

namespace {

struct Reason {
    Errno number;
    Translatable words;
};

constexpr std::array reasons{
    Reason{Errno(EACCES), translatable("because", "you don’t have permission")},
    Reason{Errno(EPERM), translatable("because", "you don’t have permission")},
    Reason{Errno(ENOENT), translatable("because", "it doesn’t exist")},
    Reason{Errno(EEXIST), translatable("because", "an item with the same name already exists")},
    Reason{Errno(ENOTEMPTY), translatable("because", "the folder isn’t empty")},
    Reason{Errno(ENOTDIR), translatable("because", "a part of its path isn’t a folder")},
    Reason{Errno(EISDIR), translatable("because", "it is a folder")},
    Reason{Errno(EBUSY), translatable("because", "it is in use")},
    Reason{Errno(EXDEV), translatable("because", "it is on another volume")},
    Reason{Errno(EROFS), translatable("because", "the volume is read-only")},
    Reason{Errno(ENOSPC), translatable("because", "the volume is full")},
    Reason{Errno(EDQUOT), translatable("because", "your share of the volume is used up")},
    Reason{Errno(EFBIG), translatable("because", "it is too large")},
    Reason{Errno(ENAMETOOLONG), translatable("because", "its name is too long")},
    Reason{nameNotAllowed, translatable("because", "the volume doesn’t allow its name")},
    Reason{nameNotDistinct,
           translatable("because", "the volume doesn’t tell its name from another one")},
    Reason{attributesTooLarge, translatable("because", "the volume can’t hold its attributes")},
    Reason{Errno(ELOOP), translatable("because", "its path leads through too many links")},
    Reason{Errno(EOPNOTSUPP), translatable("because", "the volume doesn’t support it")},
    Reason{Errno(EINVAL), translatable("because", "the system doesn’t allow it")},
    Reason{Errno(ESTALE), translatable("because", "another program has moved it")},
    Reason{Errno(EAGAIN), translatable("because", "another program is changing it")},
    Reason{Errno(EIO), translatable("because", "the volume reports a fault")},
    Reason{Errno(EMFILE), translatable("because", "too many files are open")},
    Reason{Errno(ENFILE), translatable("because", "too many files are open")},
    Reason{Errno(ENOMEM), translatable("because", "the system has no memory left")},
};

constexpr auto otherReason = translatable("because", "the system reports: %1");
constexpr auto failure = translatable("Errors", "“%1” couldn’t be %2 because %3.");

} // namespace

std::string reason(Errno number) {
    const auto* const found = std::find_if(reasons.begin(), reasons.end(),
                                           [number](const auto& r) { return r.number == number; });
    if (found != reasons.end()) {
        return translated(found->words);
    }
    const char* description = ::strerrordesc_np(number.number());
    return translated(otherReason,
                      description != nullptr ? description : std::to_string(number.number()));
}

std::string failureSentence(std::string_view item, Participle participle, std::string_view why) {
    return translated(failure, text::printable(item), participle.words(), why);
}

Error posixError(Errno number, std::string_view item, Participle participle) {
    return posixError(number, item, participle, reason(number));
}

Error posixError(Errno number, std::string_view item, Participle participle, std::string_view why) {
    return {"NSPOSIXErrorDomain", number.number(), failureSentence(item, participle, why)};
}

Result<void> posixResult(const SystemResult<void>& result, std::string_view item,
                         Participle participle) {
    if (!result) {
        return Unexpected(posixError(result.error(), item, participle));
    }
    return {};
}

} // namespace qf::native
