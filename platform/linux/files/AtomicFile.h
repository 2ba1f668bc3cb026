#pragma once

#include "platform/linux/posix/Errno.h"

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace qf::native {

/// Returns the content of a regular file of at most `limit` bytes; a final link is followed.
/// Returns nullopt if it does not exist, is larger, or is not a regular file; never blocks on a
/// FIFO or a device.
std::optional<std::string> readFile(const std::string& path, std::size_t limit);

/// Writes all of the content to an open file and syncs it to disk.
SystemResult<void> writeAll(int file, std::string_view content);

/// Atomically replaces the item at the path by a file with exactly this content, mode 0644 less the
/// umask. Others see the former item or all of the content, even after a crash. On failure the path
/// is unchanged. `prepare`, if it is not empty, gives the file what else it is to have before it
/// gets its name; its failure is one of this.
SystemResult<void>
replaceFile(const std::string& path, std::string_view content,
            const std::function<SystemResult<void>(int file)>& prepare = nullptr);

} // namespace qf::native
