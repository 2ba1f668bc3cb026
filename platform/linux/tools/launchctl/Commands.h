#pragma once

#include <span>
#include <string>

/// The commands of launchctl that this stand-in supports.
///
/// Root acts on the system's service manager; other users act on their own service manager, which
/// has no daemons: a job file in a directory "LaunchDaemons" is refused. A loaded job is a set of
/// unit files that contain its label, with the links by which targets want them; nothing else is
/// recorded anywhere, and units of any other origin are never changed. The links are made last and
/// removed first: a job of which one is missing is not loaded, and can be loaded and unloaded.
namespace qf::native::launchctl {

/// Carries out "load FILE", "unload FILE", "remove LABEL" or "list". Returns within eight seconds
/// whatever the service manager does, and two more where another run changes jobs meanwhile. Throws
/// tool::Misuse for other words, and tool::ToolError or JobError if the command was not carried
/// out.
///
/// - load: the job's units are written, started as they would be at log-in or start-up if its
///   settings say so, and wanted there. If any of it fails, everything is undone.
/// - unload, remove: the job's processes are stopped, killed when they take more than four seconds;
///   its unit files, links, failures and timer stamps are removed. Without a service manager the
///   files are removed all the same.
/// - list: process id, last exit status and label of each job on standard output.
void run(std::span<const std::string> words);

} // namespace qf::native::launchctl
