#pragma once

#include "platform/linux/FileSystem.h"

inline platform::native::FileSystem fileSystem;
