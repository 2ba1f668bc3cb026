#include "platform/linux/posix/Errors.h"

#include "platform/foundation/Text.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace platform::native {

namespace {

struct Reason {
    int number;
    const char* words;
};

constexpr std::array reasons{
    Reason{EACCES, "you don’t have permission"},
    Reason{EPERM, "you don’t have permission"},
    Reason{ENOENT, "it doesn’t exist"},
    Reason{EEXIST, "an item with the same name already exists"},
    Reason{ENOTEMPTY, "the folder isn’t empty"},
    Reason{ENOTDIR, "a part of its path isn’t a folder"},
    Reason{EISDIR, "it is a folder"},
    Reason{EBUSY, "it is in use"},
    Reason{EXDEV, "it is on another volume"},
    Reason{EROFS, "the volume is read-only"},
    Reason{ENOSPC, "the volume is full"},
    Reason{EDQUOT, "your share of the volume is used up"},
    Reason{EFBIG, "it is too large"},
    Reason{ENAMETOOLONG, "its name is too long"},
    Reason{nameNotAllowed, "the volume doesn’t allow its name"},
    Reason{nameNotDistinct, "the volume doesn’t tell its name from another one"},
    Reason{ELOOP, "its path leads through too many links"},
    Reason{EOPNOTSUPP, "the volume doesn’t support it"},
    Reason{EINVAL, "the system doesn’t allow it"},
    Reason{ESTALE, "another program has moved it"},
    Reason{EAGAIN, "another program is changing it"},
    Reason{EIO, "the volume reports a fault"},
    Reason{EMFILE, "too many files are open"},
    Reason{ENFILE, "too many files are open"},
    Reason{ENOMEM, "the system has no memory left"},
};

} // namespace

std::string reason(int number) {
    const auto* const found = std::find_if(reasons.begin(), reasons.end(),
                                           [number](const auto& r) { return r.number == number; });
    if (found != reasons.end()) {
        return found->words;
    }
    const char* description = ::strerrordesc_np(number);
    return std::string("the system reports: ") +
           (description != nullptr ? description : std::to_string(number));
}

std::string failureSentence(std::string_view item, std::string_view participle,
                            std::string_view why) {
    std::string sentence = "“" + text::printable(item) + "” couldn’t be ";
    return sentence.append(participle).append(" because ").append(why).append(".");
}

Error posixError(int number, std::string_view item, std::string_view participle) {
    return posixError(number, item, participle, reason(number));
}

Error posixError(int number, std::string_view item, std::string_view participle,
                 std::string_view why) {
    return {"NSPOSIXErrorDomain", number, failureSentence(item, participle, why)};
}

} // namespace platform::native
