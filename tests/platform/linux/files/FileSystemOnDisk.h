#pragma once

#include "platform/linux/files/FileSystem.h"

inline platform::native::FileSystem fileSystem;
