#pragma once

#include "platform/linux/FileDescriptor.h"
#include "platform/linux/helper/Command.h"

namespace platform::native::helper {

/// Moves into a folder that others than root may change. Moves that share `turns` copy one after
/// the other.
[[noreturn]] void moveIntoChangeableFolder(Command command, FileDescriptor& report,
                                           const FileDescriptor& turns);

} // namespace platform::native::helper
