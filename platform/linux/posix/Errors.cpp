#include "platform/linux/posix/Errors.h"

#include "platform/foundation/Text.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace platform::native {

namespace {

struct Reason {
    Errno number;
    const char* words;
};

constexpr std::array reasons{
    Reason{Errno(EACCES), "you don’t have permission"},
    Reason{Errno(EPERM), "you don’t have permission"},
    Reason{Errno(ENOENT), "it doesn’t exist"},
    Reason{Errno(EEXIST), "an item with the same name already exists"},
    Reason{Errno(ENOTEMPTY), "the folder isn’t empty"},
    Reason{Errno(ENOTDIR), "a part of its path isn’t a folder"},
    Reason{Errno(EISDIR), "it is a folder"},
    Reason{Errno(EBUSY), "it is in use"},
    Reason{Errno(EXDEV), "it is on another volume"},
    Reason{Errno(EROFS), "the volume is read-only"},
    Reason{Errno(ENOSPC), "the volume is full"},
    Reason{Errno(EDQUOT), "your share of the volume is used up"},
    Reason{Errno(EFBIG), "it is too large"},
    Reason{Errno(ENAMETOOLONG), "its name is too long"},
    Reason{nameNotAllowed, "the volume doesn’t allow its name"},
    Reason{nameNotDistinct, "the volume doesn’t tell its name from another one"},
    Reason{attributesTooLarge, "the volume can’t hold its attributes"},
    Reason{Errno(ELOOP), "its path leads through too many links"},
    Reason{Errno(EOPNOTSUPP), "the volume doesn’t support it"},
    Reason{Errno(EINVAL), "the system doesn’t allow it"},
    Reason{Errno(ESTALE), "another program has moved it"},
    Reason{Errno(EAGAIN), "another program is changing it"},
    Reason{Errno(EIO), "the volume reports a fault"},
    Reason{Errno(EMFILE), "too many files are open"},
    Reason{Errno(ENFILE), "too many files are open"},
    Reason{Errno(ENOMEM), "the system has no memory left"},
};

} // namespace

std::string reason(Errno number) {
    const auto* const found = std::find_if(reasons.begin(), reasons.end(),
                                           [number](const auto& r) { return r.number == number; });
    if (found != reasons.end()) {
        return found->words;
    }
    const char* description = ::strerrordesc_np(number.number());
    return std::string("the system reports: ") +
           (description != nullptr ? description : std::to_string(number.number()));
}

std::string failureSentence(std::string_view item, Participle participle, std::string_view why) {
    std::string sentence = "“" + text::printable(item) + "” couldn’t be ";
    return sentence.append(participle.words()).append(" because ").append(why).append(".");
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

} // namespace platform::native
