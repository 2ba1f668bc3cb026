#pragma once

#include <span>
#include <string>

/// The commands of launchctl that this stand-in has.
///
/// Root acts on the system's service manager; anybody else acts on a service manager of their own,
/// which has no daemons: a job file in a directory "LaunchDaemons" is refused. A job that is loaded
/// is a set of unit files that bear its label; nothing else is recorded anywhere, and units of any
/// other origin are never changed.
namespace platform::native::launchctl {

/// Carries out "load FILE", "unload FILE", "remove LABEL" or "list". Ends within eight seconds
/// whatever the service manager does. Throws tool::Misuse when the words are none of these, and
/// tool::ToolError or JobError when the command was not carried out.
///
/// - load: the job's units are written, wanted at log-in or start-up as its settings say, and
///   started as they would be then. When any of it fails nothing of it stays.
/// - unload, remove: the job's processes are stopped, killed when they take more than four seconds;
///   its unit files, links, failures and timer stamps are removed. Without a service manager the
///   files are removed all the same.
/// - list: process id, last exit status and label of each job on standard output.
void run(std::span<const std::string> words);

} // namespace platform::native::launchctl
