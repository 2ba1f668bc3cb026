#pragma once

#include "app/cli/CommandLine.h"
#include "app/cli/ExitStatus.h"

namespace start {

/// Uninstalls for every account of the machine without a question, as the options say: this program
/// runs once as each of them, as root first, one after the other. What fails for one does not keep
/// the others. Interrupted, it goes on to the end of the account that it is at. Throws
/// qf::Exception, before anything was removed, if the report cannot be written.
///
/// For root only. Uses nothing of root's own home directory.
cli::ExitStatus allUsersMain(const cli::Options& options);

} // namespace start
