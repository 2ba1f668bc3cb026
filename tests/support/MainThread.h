#pragma once

/// Whether the process's main thread sleeps until somebody wakes it.
bool mainThreadSleeps();
