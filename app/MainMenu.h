#pragma once

#include "platform/support/InterfaceFile.h"

/// Returns the interface file of the uninstaller, MainMenu.ui.
const qf::InterfaceFile& mainMenu();
