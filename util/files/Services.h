#pragma once

#include "platform/FileSystem.h"
#include "platform/Services.h"

inline platform::FileSystem& fileSystem() {
    return platform::service<platform::FileSystem>();
}
