#include "platform/linux/desktop/Labels.h"

#include "platform/foundation/Path.h"
#include "platform/linux/files/ExtendedAttributes.h"
#include "platform/linux/posix/Errors.h"
#include "platform/linux/posix/LongPath.h"

#include <sys/xattr.h>

#include <array>
#include <cerrno>

namespace qf::native {

namespace {

/// The file browser's information about an item. Its layout is shared with other systems.
using FinderInformation = std::array<unsigned char, 32>;

constexpr std::size_t flagsLowByte = 9;
constexpr unsigned labelMask = 0x0E;
constexpr unsigned labelShift = 1;
constexpr int lastLabel = 7;

std::string name() {
    return attributeName("com.apple.FinderInfo");
}

/// Returns empty information if the item has none. An attribute of another size counts as missing,
/// because its layout is unknown.
SystemResult<FinderInformation> read(const std::string& path) {
    FinderInformation information{};
    const auto size = byName(path, [&information](const char* item) {
        return ::lgetxattr(item, name().c_str(), information.data(), information.size());
    });
    if (!size && !failedWith(size, ENODATA, ERANGE)) {
        return Unexpected(size.error());
    }
    return size && static_cast<std::size_t>(*size) == information.size() ? information
                                                                         : FinderInformation{};
}

SystemResult<void> write(const std::string& path, const FinderInformation& information) {
    const auto written = byName(path, [&information](const char* item) {
        return information == FinderInformation{}
                   ? ::lremovexattr(item, name().c_str())
                   : ::lsetxattr(item, name().c_str(), information.data(), information.size(), 0);
    });
    if (!written && !failedWith(written, ENODATA)) {
        return Unexpected(written.error());
    }
    return {};
}

/// Changes the label alone. EINVAL for a number that is not a label.
SystemResult<void> change(const std::string& path, int label) {
    if (label < 0 || label > lastLabel) {
        return Unexpected(Errno(EINVAL));
    }
    auto information = read(path);
    if (!information) {
        return Unexpected(information.error());
    }
    auto& flags = (*information)[flagsLowByte];
    flags = static_cast<unsigned char>((flags & ~labelMask) |
                                       (static_cast<unsigned>(label) << labelShift));
    return write(path, *information);
}

} // namespace

std::optional<int> readLabel(const std::string& path) {
    const auto information = read(path);
    return information ? std::optional(static_cast<int>(
                             ((*information)[flagsLowByte] & labelMask) >> labelShift))
                       : std::nullopt;
}

Result<void> writeLabel(const std::string& path, int label) {
    return posixResult(change(path, label), path::lastComponent(path), participle::labelled);
}

} // namespace qf::native
