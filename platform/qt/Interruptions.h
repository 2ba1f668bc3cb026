#pragma once

#include <functional>

namespace qf::qt {

/// From now on calls `interrupted` on a thread of its own for each signal with which a person, a
/// session or the system asks the program to end (SIGINT, SIGTERM, SIGHUP, SIGQUIT), instead of
/// ending it. Signals that are ignored stay so, and children get theirs as usual.
///
/// To be called once, on the main thread before any other thread exists, because each thread
/// inherits from its creator that it does not take the signals. Throws qf::Exception
/// "NSGenericException" if the system has no thread left.
void onInterruption(std::function<void()> interrupted);

} // namespace qf::qt
