#pragma once

#include "platform/linux/tools/launchctl/JobUnits.h"

#include <string>
#include <vector>

namespace qf::native::launchctl {

/// The directory where a service manager finds the units of jobs: the unit files, and the links by
/// which targets want them. Only units that contain their job's record are ever changed.
class UnitDirectory {
public:
    /// `path` need not exist yet.
    explicit UnitDirectory(std::string path) : path_(std::move(path)) {}

    /// Returns the names of the units of a job that exist in the directory. Throws tool::ToolError
    /// if one cannot be read.
    std::vector<std::string> unitsOf(const std::string& label) const;

    /// Returns whether the directory has an entry with the name of a unit. Throws tool::ToolError
    /// if that cannot be told.
    bool has(const std::string& unit) const;

    /// Returns whether a job is loaded: its service is in the directory, and each of its units has
    /// the link that its text asks for. Throws tool::ToolError if that cannot be told.
    bool isLoaded(const std::string& label) const;

    /// Returns the labels of all jobs that are loaded. Throws tool::ToolError if not all units can
    /// be read.
    std::vector<std::string> loadedLabels() const;

    /// Writes units, a job's service last. Throws tool::ToolError if one cannot be written.
    void write(const std::vector<UnitFile>& units) const;

    /// Links units to the targets that want them, which makes their job one that is loaded. Throws
    /// tool::ToolError.
    void writeLinks(const std::vector<UnitFile>& units) const;

    /// Removes the links to units, so that nothing starts them. Throws tool::ToolError.
    void removeLinks(const std::vector<std::string>& units) const;

    /// Removes unit files, the last first: in the order of unitsOf(), a job whose removal is
    /// interrupted is without its service, and not loaded. Throws tool::ToolError.
    void remove(const std::vector<std::string>& units) const;

    /// Removes the directory, and its parent, if they are empty.
    void removeIfEmpty() const;

private:
    std::string pathOf(const std::string& unit) const { return path_ + "/" + unit; }
    std::string linkOf(const std::string& unit, const std::string& target) const {
        return pathOf(target + ".wants/" + unit);
    }

    std::string path_;
};

} // namespace qf::native::launchctl
