#include "platform/linux/files/ExtendedAttributes.h"

#include "platform/foundation/Path.h"
#include "platform/linux/posix/Errors.h"
#include "platform/linux/posix/LongPath.h"

#include <sys/xattr.h>

namespace qf::native {

namespace {

/// Reads the value into the buffer. Returns its length, even if there is no buffer.
Result<std::size_t> readValue(const std::string& path, const std::string& attribute,
                              std::span<std::byte> buffer) {
    const auto length = byName(path, [&](const char* name) {
        return ::getxattr(name, attributeName(attribute).c_str(), buffer.data(), buffer.size());
    });
    if (!length) {
        return Unexpected(posixError(length.error(), path::lastComponent(path), participle::read));
    }
    return static_cast<std::size_t>(*length);
}

} // namespace

Result<std::size_t> ExtendedAttributes::size(const std::string& path, const std::string& name) {
    return readValue(path, name, {});
}

Result<std::size_t> ExtendedAttributes::read(const std::string& path, const std::string& name,
                                             std::span<std::byte> buffer) {
    return readValue(path, name, buffer);
}

Result<void> ExtendedAttributes::set(const std::string& path, const std::string& name,
                                     std::string_view value) {
    const auto set = byName(path, [&](const char* item) {
        return ::setxattr(item, attributeName(name).c_str(), value.data(), value.size(), 0);
    });
    if (!set) {
        return Unexpected(posixError(set.error(), path::lastComponent(path), participle::changed));
    }
    return {};
}

} // namespace qf::native
