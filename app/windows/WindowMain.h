#pragma once

#include "app/start/WindowModule.h"

/// The only function of the module of the windows: see start::WindowMain.
extern "C" [[gnu::visibility("default")]] start::WindowMain kelvaneWindowMain;
