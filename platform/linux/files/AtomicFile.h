#pragma once

#include "platform/linux/posix/Errno.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace platform::native {

/// The content of a regular file of at most `limit` bytes; a final link is followed. Nothing when
/// there is none, when it is larger, or when anything else stands at the path, which is told
/// without waiting for it: a FIFO without a writer, a device.
std::optional<std::string> readFile(const std::string& path, std::size_t limit);

/// Writes all of the content to an open file, and makes it durable.
SystemResult<void> writeAll(int file, std::string_view content);

/// Puts a file of exactly this content in the place of what stands at the path, mode 0644 less the
/// umask. Others see what stood there before or all of the content, also after a crash. After
/// a failure the path is as it was.
SystemResult<void> replaceFile(const std::string& path, std::string_view content);

} // namespace platform::native
