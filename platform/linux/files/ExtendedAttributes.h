#pragma once

#include "platform/ExtendedAttributes.h"

#include <string>
#include <string_view>

namespace platform::native {

/// What the names of the attributes that programs may set begin with on Linux.
inline constexpr std::string_view attributeNamespace = "user.";

/// The name under which Linux keeps an extended attribute: "com.quillfen.a" is
/// "user.com.quillfen.a". The mapping is the same for every name, so that no two names meet.
inline std::string attributeName(std::string_view name) {
    return std::string(attributeNamespace).append(name);
}

/// The attributes that users may give to regular files and directories; the system's own are out of
/// reach.
class ExtendedAttributes : public platform::ExtendedAttributes {
public:
    Result<std::size_t> size(const std::string& path, const std::string& name) override;
    Result<std::size_t> read(const std::string& path, const std::string& name,
                             std::span<std::byte> buffer) override;
    Result<void> set(const std::string& path, const std::string& name,
                     std::string_view value) override;
};

} // namespace platform::native
