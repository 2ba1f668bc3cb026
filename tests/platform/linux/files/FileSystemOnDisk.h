#pragma once

#include "platform/linux/files/FileSystem.h"

inline qf::native::FileSystem fileSystem;
