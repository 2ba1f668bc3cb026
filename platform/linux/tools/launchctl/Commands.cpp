#include "platform/linux/tools/launchctl/Commands.h"

#include "platform/foundation/Path.h"
#include "platform/foundation/Text.h"
#include "platform/linux/posix/DirectoryLock.h"
#include "platform/linux/system/UserAccount.h"
#include "platform/linux/tools/Tool.h"
#include "platform/linux/tools/launchctl/JobFile.h"
#include "platform/linux/tools/launchctl/JobUnits.h"
#include "platform/linux/tools/launchctl/ServiceManager.h"
#include "platform/linux/tools/launchctl/UnitDirectory.h"

#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <filesystem>
#include <iostream>
#include <memory>
#include <sstream>

namespace qf::native::launchctl {

namespace {

using tool::ToolError;
using Clock = ServiceManager::Clock;

/// Callers allow the tool ten seconds.
constexpr std::chrono::milliseconds wholeTime{9500};
constexpr std::chrono::milliseconds patienceWithOthers{6000};
/// Of a run that had not to wait for others.
constexpr std::chrono::milliseconds workTime{7500};
constexpr std::chrono::milliseconds patienceWithJobs{4000};
/// What is left for the rest, once jobs were waited for.
constexpr std::chrono::milliseconds restTime{1000};

/// The objects that one run of the program acts on.
struct Caller {
    Domain domain;
    UnitDirectory directory;
    DirectoryLock turn;
    Clock::time_point began = Clock::now();
    Clock::time_point deadline = began + workTime;

    /// Waits until no other run changes jobs: what one has half done would be taken for what an
    /// interrupted one has left. Returns whether none does.
    bool takeTurn() {
        const bool isTurn = turn.lockUntil(began + patienceWithOthers);
        deadline = std::min(Clock::now() + workTime, began + wholeTime);
        return isTurn;
    }

    void requireTurn() {
        if (!takeTurn()) {
            throw ToolError("another run of launchctl does not end");
        }
    }

    std::unique_ptr<ServiceManager> connect() const {
        return connectToServiceManager(domain, deadline);
    }

    /// Returns until when to wait for jobs that start or stop now.
    Clock::time_point patience() const {
        return std::min(Clock::now() + patienceWithJobs, deadline - restTime);
    }
};

/// Returns a directory in another whose lock is for the runs of one user, and which nobody else may
/// open; empty if it is somebody else's.
std::string directoryOfTurns(const std::string& directory) {
    const auto turns = path::appending(directory, "launchctl");
    ::mkdir(turns.c_str(), S_IRWXU);
    struct stat status {};
    const bool isOwn = ::lstat(turns.c_str(), &status) == 0 && status.st_uid == ::geteuid();
    return isOwn ? turns : std::string();
}

Caller currentCaller() {
    if (::geteuid() == 0) {
        return {Domain::system, UnitDirectory("/etc/systemd/system"),
                DirectoryLock(directoryOfTurns("/run"))};
    }
    const auto settings = absolutePathFromEnvironment("XDG_CONFIG_HOME")
                              .value_or(UserAccount().homeDirectory() + "/.config");
    return {Domain::user, UnitDirectory(settings + "/systemd/user"),
            DirectoryLock(directoryOfTurns(serviceManagerDirectory()))};
}

std::string absolute(const std::string& file) {
    std::error_code error;
    const auto path = std::filesystem::absolute(file, error);
    return error ? file : path.lexically_normal().string();
}

void requireDomainOf(const std::string& file, const Caller& caller) {
    const auto directory = path::lastComponent(path::deletingLastComponent(file));
    if (caller.domain == Domain::user && directory == "LaunchDaemons") {
        throw ToolError(file + ": Daemons are the system's, which only root may change");
    }
}

void removeFiles(const Caller& caller, const std::vector<std::string>& units) {
    caller.directory.remove(units);
    if (caller.domain == Domain::user) {
        caller.directory.removeIfEmpty();
    }
}

void stop(const Caller& caller, const std::vector<std::string>& units, ServiceManager& manager) {
    manager.stop(units, caller.patience());
    for (const auto& unit : units) {
        manager.forget(unit);
    }
}

/// Removes links first, so that nothing starts the job again, and files last, so that an
/// interrupted run can be repeated.
void takeDown(const Caller& caller, const std::vector<std::string>& units,
              ServiceManager& manager) {
    caller.directory.removeLinks(units);
    stop(caller, units, manager);
    removeFiles(caller, units);
    manager.reload();
}

void takeDown(const Caller& caller, const std::vector<std::string>& units) {
    try {
        takeDown(caller, units, *caller.connect());
    } catch (const NoServiceManager&) {
        caller.directory.removeLinks(units);
        removeFiles(caller, units);
        throw;
    }
}

void requireFreeNames(const std::vector<UnitFile>& units, const Caller& caller,
                      ServiceManager& manager) {
    for (const auto& unit : units) {
        if (caller.directory.has(unit.name) || manager.hasUnitFile(unit.name)) {
            throw ToolError(unit.name + ": There is another unit of this name");
        }
    }
}

/// Writes links last: a job that was not started does not pass for loaded if the run is
/// interrupted.
void putUp(const std::vector<UnitFile>& units, const Caller& caller, ServiceManager& manager) {
    caller.directory.write(units);
    manager.reload();
    std::vector<std::string> started;
    for (const auto& unit : units) {
        if (!unit.wantedBy.empty()) {
            started.push_back(unit.name);
        }
    }
    // After the call, changes to a watched path count.
    manager.start(started, caller.patience());
    caller.directory.writeLinks(units);
    manager.reload();
}

/// Tells why a step cannot be done, and goes on.
template <class Step>
void attempt(Step step) {
    try {
        step();
    } catch (const ToolError& error) {
        tool::report("launchctl", error.what());
    }
}

/// Removes files first: whatever the manager does then, nothing of the job is left for the next
/// log-in.
void withdraw(const Caller& caller, const std::vector<std::string>& units,
              ServiceManager& manager) {
    attempt([&] { caller.directory.removeLinks(units); });
    attempt([&] { removeFiles(caller, units); });
    attempt([&] { stop(caller, units, manager); });
    attempt([&] { manager.reload(); });
}

void load(const std::string& argument) {
    const auto file = absolute(argument);
    auto caller = currentCaller();
    const auto job = readJobFile(file, MustBeSafe::yes);
    requireDomainOf(file, caller);
    const auto label = labelOfJob(job);
    const auto units = unitsOfJob(job, file, caller.domain);
    caller.requireTurn();
    if (caller.directory.isLoaded(label)) {
        throw ToolError(file + ": service already loaded");
    }
    const auto manager = caller.connect();
    if (const auto rest = caller.directory.unitsOf(label); !rest.empty()) {
        takeDown(caller, rest, *manager);
    }
    requireFreeNames(units, caller, *manager);
    try {
        putUp(units, caller, *manager);
    } catch (const ToolError&) {
        withdraw(caller, caller.directory.unitsOf(label), *manager);
        throw;
    }
}

/// Returns whether nobody can read what is written to standard error.
bool isErrorDiscarded() {
    struct stat error {};
    struct stat discarded {};
    return ::fstat(STDERR_FILENO, &error) == 0 && ::stat("/dev/null", &discarded) == 0 &&
           S_ISCHR(error.st_mode) && error.st_rdev == discarded.st_rdev;
}

/// Programs that install a job discard what the tool says, so the system log has it: otherwise the
/// job would be missing without a reason anywhere.
void loadOrTell(const std::string& argument) {
    try {
        load(argument);
    } catch (const ToolError& error) {
        if (isErrorDiscarded()) {
            ::syslog(LOG_USER | LOG_ERR, "%s", text::printable(error.what()).c_str());
        }
        throw;
    }
}

void unload(const std::string& argument) {
    const auto file = absolute(argument);
    auto caller = currentCaller();
    const auto job = readJobFile(file, MustBeSafe::no);
    requireDomainOf(file, caller);
    caller.requireTurn();
    const auto units = caller.directory.unitsOf(labelOfJob(job));
    if (units.empty()) {
        throw ToolError(file + ": Could not find specified service");
    }
    takeDown(caller, units);
}

void remove(const std::string& label) {
    auto caller = currentCaller();
    caller.requireTurn();
    const auto units = caller.directory.unitsOf(label);
    if (units.empty()) {
        throw ToolError(label + ": Could not find specified service");
    }
    takeDown(caller, units);
}

/// A job that is being loaded is listed once it is. Where that does not end, what there is is
/// listed.
void list() {
    auto caller = currentCaller();
    static_cast<void>(caller.takeTurn());
    const auto labels = caller.directory.loadedLabels();
    caller.turn.unlock();
    const auto manager = labels.empty() ? nullptr : caller.connect();
    std::ostringstream lines; // Nothing is printed of a list that cannot be completed.
    lines << "PID\tStatus\tLabel\n";
    for (const auto& label : labels) {
        const auto state = manager->stateOf(unitNames(label).back());
        const auto process = state.processId == 0 ? "-" : std::to_string(state.processId);
        lines << process << '\t' << state.lastStatus << '\t' << text::printable(label) << '\n';
    }
    std::cout << lines.str();
}

struct Command {
    std::string_view name;
    void (*perform)(const std::string& operand);
};

constexpr std::array commands = {
    Command{"load", loadOrTell},
    Command{"unload", unload},
    Command{"remove", remove},
};

} // namespace

void run(std::span<const std::string> words) {
    if (words.size() == 1 && words.front() == "list") {
        list();
        return;
    }
    const auto command =
        std::find_if(commands.begin(), commands.end(), [words](const Command& candidate) {
            return words.size() == 2 && candidate.name == words.front();
        });
    if (command == commands.end()) {
        throw tool::Misuse();
    }
    command->perform(words.back());
}

} // namespace qf::native::launchctl
