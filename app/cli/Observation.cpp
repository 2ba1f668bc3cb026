#include "app/cli/Observation.h"

#include "platform/Services.h"
#include "platform/foundation/Path.h"

#include <sstream>
#include <utility>

namespace cli {

namespace {

/// Moves items for the superuser, in the background.
constexpr const char* mover = "/bin/mv";

/// What a person is told about the administrator's right that was not to be had, or did not help.
const char* explanationOf(platform::AuthorizationStatus right) {
    switch (right) {
    case platform::errAuthorizationSuccess:
        return "It could not be moved with the administrator's right either.";
    case platform::errAuthorizationCanceled:
        return "The administrator's password was not given.";
    case platform::errAuthorizationDenied:
        return "The administrator's right was denied.";
    default:
        return "The administrator's right cannot be had on this machine.";
    }
}

} // namespace

class Observation::ObservedWorkspace : public platform::Workspace {
public:
    ObservedWorkspace(Observation& observation, platform::Workspace& workspace)
        : observation_(observation), workspace_(workspace) {}

    std::optional<std::string> applicationPath(const std::string& bundleIdentifier) override {
        return workspace_.applicationPath(bundleIdentifier);
    }
    bool isFilePackage(const std::string& path) override { return workspace_.isFilePackage(path); }
    platform::WorkspaceStatus registerApplication(const std::string& path) override {
        return workspace_.registerApplication(path);
    }
    platform::WorkspaceStatus noteFileSystemChanged(const std::string& path) override {
        return workspace_.noteFileSystemChanged(path);
    }
    std::vector<std::string> mountedLocalVolumePaths() override {
        return workspace_.mountedLocalVolumePaths();
    }
    std::optional<int> labelNumber(const std::string& path) override {
        return workspace_.labelNumber(path);
    }
    std::optional<platform::Error> setLabelNumber(const std::string& path, int number) override {
        return workspace_.setLabelNumber(path, number);
    }
    void makeTrash(const std::string& trash) override { workspace_.makeTrash(trash); }

    std::optional<platform::Error> recycle(const std::string& folder, const std::string& trash,
                                           const std::string& name) override {
        auto error = workspace_.recycle(folder, trash, name);
        observation_.noteAttempt(platform::path::appending(folder, name), error);
        return error;
    }

private:
    Observation& observation_;
    platform::Workspace& workspace_;
};

class Observation::ObservedAuthorizationServices : public platform::AuthorizationServices {
public:
    ObservedAuthorizationServices(Observation& observation,
                                  platform::AuthorizationServices& services)
        : observation_(observation), services_(services) {}

    platform::Authorization create(const platform::AuthorizationItemSet& environment,
                                   platform::AuthorizationFlags flags) override {
        return services_.create(environment, flags);
    }
    platform::AuthorizationStatus copyRights(platform::AuthorizationRef ref,
                                             const platform::AuthorizationItemSet& rights,
                                             const platform::AuthorizationItemSet& environment,
                                             platform::AuthorizationFlags flags) override {
        const auto status = services_.copyRights(ref, rights, environment, flags);
        observation_.noteRight(status);
        return status;
    }
    bool holdsRights(platform::AuthorizationRef ref) override { return services_.holdsRights(ref); }
    void free(platform::AuthorizationRef ref, platform::AuthorizationFlags flags) override {
        services_.free(ref, flags);
    }
    platform::Authorization copyPrivilegedReference(platform::AuthorizationFlags flags) override {
        return services_.copyPrivilegedReference(flags);
    }

    /// The tool's output is read to its end, which comes when the tool has ended.
    platform::PrivilegedTool
    executeWithPrivileges(platform::AuthorizationRef ref, const std::string& toolPath,
                          platform::AuthorizationFlags options,
                          const std::vector<std::string>& arguments) override {
        auto tool = services_.executeWithPrivileges(ref, toolPath, options, arguments);
        observation_.noteRight(tool.status);
        if (tool.output) {
            std::ostringstream said;
            said << tool.output->rdbuf();
            tool.output = std::make_unique<std::istringstream>(std::move(said).str());
        }
        return tool;
    }

private:
    Observation& observation_;
    platform::AuthorizationServices& services_;
};

class Observation::ObservedProcessLauncher : public platform::ProcessLauncher {
public:
    ObservedProcessLauncher(Observation& observation, platform::ProcessLauncher& launcher)
        : observation_(observation), launcher_(launcher) {}

    std::shared_ptr<platform::Pipe> makePipe() override { return launcher_.makePipe(); }
    std::shared_ptr<platform::ChildProcess>
    launch(const platform::ProcessDescription& description) override {
        auto child = launcher_.launch(description);
        if (description.launchPath == mover) {
            observation_.noteMover(child);
        }
        return child;
    }

private:
    Observation& observation_;
    platform::ProcessLauncher& launcher_;
};

Observation::Observation()
    : workspace_(
          std::make_unique<ObservedWorkspace>(*this, platform::service<platform::Workspace>())),
      authorizationServices_(std::make_unique<ObservedAuthorizationServices>(
          *this, platform::service<platform::AuthorizationServices>())),
      processLauncher_(std::make_unique<ObservedProcessLauncher>(
          *this, platform::service<platform::ProcessLauncher>())) {
    platform::install<platform::Workspace>(*workspace_);
    platform::install<platform::AuthorizationServices>(*authorizationServices_);
    platform::install<platform::ProcessLauncher>(*processLauncher_);
}

Observation::~Observation() = default;

void Observation::noteAttempt(const std::string& path,
                              const std::optional<platform::Error>& error) {
    const std::lock_guard lock(mutex_);
    current_ = path;
    auto& attempt = attempts_[path];
    attempt.succeeded = attempt.succeeded || !error;
    attempt.failure = error ? error->localizedDescription : std::string();
}

void Observation::noteRight(platform::AuthorizationStatus status) {
    const std::lock_guard lock(mutex_);
    attempts_[current_].right = status;
}

void Observation::noteMover(std::shared_ptr<platform::ChildProcess> child) {
    const std::lock_guard lock(mutex_);
    movers_.push_back(std::move(child));
}

void Observation::waitForMovers() {
    std::vector<std::shared_ptr<platform::ChildProcess>> movers;
    {
        const std::lock_guard lock(mutex_);
        movers.swap(movers_);
    }
    for (const auto& child : movers) {
        child->waitUntilExit();
    }
}

bool Observation::wasMoved(const std::string& path) {
    const std::lock_guard lock(mutex_);
    const auto attempt = attempts_.find(path);
    return attempt != attempts_.end() && attempt->second.succeeded;
}

std::string Observation::whyNotMoved(const std::string& path) {
    const std::lock_guard lock(mutex_);
    const auto found = attempts_.find(path);
    if (found == attempts_.end()) {
        return {};
    }
    const auto& [succeeded, failure, right] = found->second;
    if (!right) {
        return failure;
    }
    return (failure.empty() ? failure : failure + " ") + explanationOf(*right);
}

} // namespace cli
