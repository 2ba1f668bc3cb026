#pragma once

#include <string>

namespace platform::native {

/// Tells the file managers of the session, by the signal on its bus that some listen to, that an
/// item has changed; others watch the disk themselves. Without a bus nobody is told. Returns when
/// the bus has the signal. Any thread may call it.
void announceChange(const std::string& path);

} // namespace platform::native
