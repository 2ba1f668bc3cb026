#include "platform/linux/files/ExtendedAttributes.h"

#include <sys/xattr.h>

#include <cerrno>

namespace platform::native {

namespace {

using Result = platform::ExtendedAttributes::Result;

Result result(std::int64_t length) {
    return {.length = length, .error = length < 0 ? errno : 0};
}

} // namespace

Result ExtendedAttributes::size(const std::string& path, const std::string& name) {
    return result(::getxattr(path.c_str(), attributeName(name).c_str(), nullptr, 0));
}

Result ExtendedAttributes::read(const std::string& path, const std::string& name,
                                std::span<std::byte> buffer) {
    return result(
        ::getxattr(path.c_str(), attributeName(name).c_str(), buffer.data(), buffer.size()));
}

Result ExtendedAttributes::set(const std::string& path, const std::string& name,
                               std::string_view value) {
    return result(
        ::setxattr(path.c_str(), attributeName(name).c_str(), value.data(), value.size(), 0));
}

} // namespace platform::native
