#pragma once

#include "app/Inventory.h"

#include <vector>

/// Sets, in the rows that stop programs, which of those run now and can be stopped. The row's own
/// tool tells, so what is listed is what the run stops. Any thread.
void findRunning(std::vector<InventoryRow>& rows);
