#pragma once

namespace qf::native {

/// Keeps a file size limit from ending the process: a write of this thread beyond it then fails
/// like any other. The signal stays blocked, because blocking it around each write would cost more
/// than the write's own overhead.
void blockSigxfsz();

} // namespace qf::native
