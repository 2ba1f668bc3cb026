#pragma once

#include <sys/types.h>

#include <string>

namespace platform::native {

/// Makes the folder at an absolute path and those that lead to it, where they are missing, each
/// with `mode` less the umask. Gives 0, also when the folder stood there, or the errno.
[[nodiscard]] int makeFolders(const std::string& path, mode_t mode);

} // namespace platform::native
