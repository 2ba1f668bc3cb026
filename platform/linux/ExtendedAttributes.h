#pragma once

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

} // namespace platform::native
