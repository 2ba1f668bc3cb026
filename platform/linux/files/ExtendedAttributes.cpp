#include "platform/linux/files/ExtendedAttributes.h"

#include "platform/foundation/Path.h"
#include "platform/linux/posix/Errors.h"

#include <sys/xattr.h>

namespace platform::native {

namespace {

/// Returns the length, or the error.
Result<std::size_t> lengthOrError(ssize_t length, const std::string& path) {
    if (length < 0) {
        return Unexpected(posixError(Errno::last(), path::lastComponent(path), "read"));
    }
    return static_cast<std::size_t>(length);
}

} // namespace

Result<std::size_t> ExtendedAttributes::size(const std::string& path, const std::string& name) {
    return lengthOrError(::getxattr(path.c_str(), attributeName(name).c_str(), nullptr, 0), path);
}

Result<std::size_t> ExtendedAttributes::read(const std::string& path, const std::string& name,
                                             std::span<std::byte> buffer) {
    return lengthOrError(
        ::getxattr(path.c_str(), attributeName(name).c_str(), buffer.data(), buffer.size()), path);
}

Result<void> ExtendedAttributes::set(const std::string& path, const std::string& name,
                                     std::string_view value) {
    const auto set = checked(
        ::setxattr(path.c_str(), attributeName(name).c_str(), value.data(), value.size(), 0));
    return posixResult(set, path::lastComponent(path), "changed");
}

} // namespace platform::native
