#pragma once

#include "app/start/WindowModule.h"

/// The function of the module of the windows.
extern "C" [[gnu::visibility("default")]] start::WindowMain moduleMain;
