#pragma once

#include "platform/linux/posix/Errno.h"

#include <string_view>

namespace qf::native {

/// Writes `rest` to an open file, and removes from it what is written: after a failure it is what
/// is missing in the file. Continues after interruptions. A file size limit fails with EFBIG.
SystemResult<void> writeRest(int file, std::string_view& rest);

} // namespace qf::native
