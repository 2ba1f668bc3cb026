#pragma once

#include "platform/ExtendedAttributes.h"

#include <string>
#include <string_view>

namespace qf::native {

/// The prefix of the names of attributes that programs may set on Linux.
inline constexpr std::string_view attributeNamespace = "user.";

/// Returns the name under which Linux stores an extended attribute: "com.quillfen.a" is
/// "user.com.quillfen.a". Every name gets the prefix, so that no two names collide.
inline std::string attributeName(std::string_view name) {
    return std::string(attributeNamespace).append(name);
}

/// The extended attributes that users may set on regular files and directories; the system's own
/// are not accessible.
class ExtendedAttributes : public qf::ExtendedAttributes {
public:
    Result<std::size_t> size(const std::string& path, const std::string& name) override;
    Result<std::size_t> read(const std::string& path, const std::string& name,
                             std::span<std::byte> buffer) override;
    Result<void> set(const std::string& path, const std::string& name,
                     std::string_view value) override;
};

} // namespace qf::native
