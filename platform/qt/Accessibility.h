#pragma once

namespace qf::qt {

/// Has screen readers told that the windows of an interface file are windows, and that a bar
/// without an end means that the program is busy. Any number of times, on the main thread.
void describeToScreenReaders();

} // namespace qf::qt
