#include "platform/linux/desktop/Labels.h"

#include "platform/foundation/Path.h"
#include "platform/linux/files/ExtendedAttributes.h"
#include "platform/linux/posix/Errors.h"

#include <sys/xattr.h>

#include <array>
#include <cerrno>

namespace platform::native {

namespace {

/// What the file browser keeps about an item. Its layout is shared with other systems.
using FinderInformation = std::array<unsigned char, 32>;

constexpr std::size_t flagsLowByte = 9;
constexpr unsigned labelMask = 0x0E;
constexpr unsigned labelShift = 1;
constexpr int lastLabel = 7;

std::string name() {
    return attributeName("com.apple.FinderInfo");
}

/// Empty information where the item has none; nothing, and errno, on failure. One of another size
/// counts as none, for its bytes are not what they should be.
std::optional<FinderInformation> read(const std::string& path) {
    FinderInformation information{};
    const auto size =
        ::lgetxattr(path.c_str(), name().c_str(), information.data(), information.size());
    if (size < 0 && errno != ENODATA && errno != ERANGE) {
        return std::nullopt;
    }
    return static_cast<std::size_t>(size) == information.size() ? information : FinderInformation{};
}

/// 0, or the errno.
int write(const std::string& path, const FinderInformation& information) {
    const bool isEmpty = information == FinderInformation{};
    const int result = isEmpty ? ::lremovexattr(path.c_str(), name().c_str())
                               : ::lsetxattr(path.c_str(), name().c_str(), information.data(),
                                             information.size(), 0);
    return result == 0 || (isEmpty && errno == ENODATA) ? 0 : errno;
}

} // namespace

std::optional<int> readLabel(const std::string& path) {
    const auto information = read(path);
    return information ? std::optional(static_cast<int>(
                             ((*information)[flagsLowByte] & labelMask) >> labelShift))
                       : std::nullopt;
}

std::optional<Error> writeLabel(const std::string& path, int label) {
    const auto failure = [&](int number) {
        return posixError(number, path::lastComponent(path), "labelled");
    };
    if (label < 0 || label > lastLabel) {
        return failure(EINVAL);
    }
    auto information = read(path);
    if (!information) {
        return failure(errno);
    }
    auto& flags = (*information)[flagsLowByte];
    flags = static_cast<unsigned char>((flags & ~labelMask) |
                                       (static_cast<unsigned>(label) << labelShift));
    const int error = write(path, *information);
    return error == 0 ? std::nullopt : std::optional(failure(error));
}

} // namespace platform::native
