#pragma once

/// Returns whether the process's main thread is asleep.
bool mainThreadSleeps();
