#pragma once

#include "platform/foundation/Value.h"

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

/// What launchd calls a job, as units of systemd.
namespace platform::native::launchctl {

/// Which service manager has the job: the user's own, for agents, or the system's.
enum class Domain { user, system };

/// One unit file.
struct UnitFile {
    std::string name;
    std::string text;
    /// The target that starts the unit at log-in or start-up; empty for none. Loading the job
    /// starts the same units.
    std::string wantedBy;
};

/// Why a job cannot be had. The text begins with the key at fault.
class JobError : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// The units of a job: a service, and a timer and a path unit where its settings ask for them.
///
/// `job` is the content of the job file, whose path is `jobFile`; its keys are those of
/// launchd.plist(5) that JobKeys.cpp lists. Throws JobError for a key that is not there, a value
/// of another type or without an equivalent, and a job without a label or a program: a job is
/// honoured in full or not at all.
std::vector<UnitFile> unitsOfJob(const Value& job, std::string_view jobFile, Domain domain);

/// The label of a job. Throws JobError when there is none from which units could be named.
std::string labelOfJob(const Value& job);

/// The names of the units that a job of this label may have. Throws JobError for a label from which
/// units cannot be named.
std::vector<std::string> unitNames(const std::string& label);

/// Who a unit belongs to, as recorded in its text.
struct Owner {
    std::string label;
    /// The job file as it was called when it was loaded, fit to be shown.
    std::string jobFile;
};

/// Reads the record that every text of unitsOfJob() ends with; an empty label where there is none.
Owner ownerOfUnit(std::string_view unitText);

} // namespace platform::native::launchctl
