#pragma once

#include <optional>
#include <set>
#include <string>

namespace records {

/// Returns the path of the file of the user's agent with this label; no value if the system has no
/// place for it.
std::optional<std::string> jobFile(const std::string& label);

/// The background jobs of the current user in the service manager. Any thread may call the members.
class Jobs {
public:
    virtual ~Jobs() = default;

    /// Returns the labels of the loaded jobs; no value if the service manager does not tell.
    virtual std::optional<std::set<std::string>> loaded() = 0;

    /// Loads the job of a file. A failure is ignored.
    virtual void load(const std::string& file) = 0;
};

/// The jobs of launchd. Each call waits for a tool, at most ten seconds.
class LaunchdJobs final : public Jobs {
public:
    std::optional<std::set<std::string>> loaded() override;
    void load(const std::string& file) override;
};

} // namespace records
