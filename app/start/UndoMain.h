#pragma once

#include "app/cli/CommandLine.h"
#include "app/cli/ExitStatus.h"

namespace start {

/// Prints what the options ask about recorded runs on standard output: which there are, what the
/// last one did, or what would come back. Changes nothing. Throws qf::Exception
/// "QFListUnwritable" if not all of it could be written, or "QFRecordUnusable".
cli::ExitStatus recordsMain(const cli::Options& options);

/// Puts back or deletes for good what a recorded run took away, as the options say, on the
/// terminal. The items of the run, and the password where it is needed, are all that is asked for.
/// Throws qf::Exception "QFRecordUnusable", before anything was moved, or as terminalMain()
/// does if the report cannot be written.
cli::ExitStatus undoMain(const cli::Options& options);

} // namespace start
