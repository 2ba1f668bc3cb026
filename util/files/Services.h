#pragma once

#include "platform/FileSystem.h"
#include "platform/Services.h"

namespace qf {

inline FileSystem& fileSystem() {
    return service<FileSystem>();
}

} // namespace qf
