#pragma once

#include "platform/foundation/Value.h"

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

/// launchd jobs as systemd units.
namespace qf::native::launchctl {

/// The service manager that has the job: the user's own, for agents, or the system's.
enum class Domain { user, system };

/// One unit file.
struct UnitFile {
    std::string name;
    std::string text;
    /// The target that starts the unit at log-in or start-up; empty if there is none. Loading the
    /// job starts the same units.
    std::string wantedBy;
};

/// Why a job cannot be expressed as units. The text begins with the key at fault.
class JobError : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// Returns the units of a job: a service, and a timer and a path unit if its settings ask for them.
///
/// `job` is the content of the job file, whose path is `jobFile`; its keys are those of
/// launchd.plist(5) that JobKeys.cpp lists. Throws JobError for an unsupported key, a value of the
/// wrong type or without an equivalent, and a job without a label or a program: a job is honoured
/// in full or not at all.
std::vector<UnitFile> unitsOfJob(const Value& job, std::string_view jobFile, Domain domain);

/// Returns the label of a job. Throws JobError if it has none, or none that units can be named
/// after.
std::string labelOfJob(const Value& job);

/// Returns the names of the units that a job of this label may have. Throws JobError for a label
/// that units cannot be named after.
std::vector<std::string> unitNames(const std::string& label);

/// Reads the label of the job from the record that every text of unitsOfJob() ends with; returns an
/// empty text if there is none.
std::string labelOfUnit(std::string_view unitText);

/// Reads UnitFile::wantedBy from a text of unitsOfJob().
std::string targetOfUnit(std::string_view unitText);

} // namespace qf::native::launchctl
