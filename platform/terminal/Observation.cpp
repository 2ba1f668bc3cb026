#include "platform/terminal/Observation.h"

#include "platform/Services.h"
#include "platform/foundation/Path.h"

#include <sstream>
#include <utility>

namespace platform::terminal {

namespace {

/// Moves items for the superuser, in the background.
constexpr const char* mover = "/bin/mv";

/// What a person is told about the administrator's right that was not to be had, or did not help.
const char* explanationOf(AuthorizationStatus right) {
    switch (right) {
    case errAuthorizationSuccess:
        return "It could not be moved with the administrator's right either.";
    case errAuthorizationCanceled:
        return "The administrator's password was not given.";
    case errAuthorizationDenied:
        return "The administrator's right was denied.";
    default:
        return "The administrator's right cannot be had on this machine.";
    }
}

} // namespace

class Observation::ObservedWorkspace : public Workspace {
public:
    ObservedWorkspace(Observation& observation, Workspace& workspace)
        : observation_(observation), workspace_(workspace) {}

    std::optional<std::string> applicationPath(const std::string& bundleIdentifier) override {
        return workspace_.applicationPath(bundleIdentifier);
    }
    bool isFilePackage(const std::string& path) override { return workspace_.isFilePackage(path); }
    WorkspaceStatus registerApplication(const std::string& path) override {
        return workspace_.registerApplication(path);
    }
    WorkspaceStatus noteFileSystemChanged(const std::string& path) override {
        return workspace_.noteFileSystemChanged(path);
    }
    std::vector<std::string> mountedLocalVolumePaths() override {
        return workspace_.mountedLocalVolumePaths();
    }
    std::optional<int> labelNumber(const std::string& path) override {
        return workspace_.labelNumber(path);
    }
    std::optional<Error> setLabelNumber(const std::string& path, int number) override {
        return workspace_.setLabelNumber(path, number);
    }
    void makeTrash(const std::string& trash) override { workspace_.makeTrash(trash); }

    std::optional<Error> recycle(const std::string& folder, const std::string& trash,
                                 const std::string& name) override {
        auto error = workspace_.recycle(folder, trash, name);
        observation_.noteAttempt(path::appending(folder, name), error);
        return error;
    }

private:
    Observation& observation_;
    Workspace& workspace_;
};

class Observation::ObservedAuthorizationServices : public AuthorizationServices {
public:
    ObservedAuthorizationServices(Observation& observation, AuthorizationServices& services)
        : observation_(observation), services_(services) {}

    Authorization create(const AuthorizationItemSet& environment,
                         AuthorizationFlags flags) override {
        return services_.create(environment, flags);
    }
    AuthorizationStatus copyRights(AuthorizationRef ref, const AuthorizationItemSet& rights,
                                   const AuthorizationItemSet& environment,
                                   AuthorizationFlags flags) override {
        const auto status = services_.copyRights(ref, rights, environment, flags);
        observation_.noteRight(status);
        return status;
    }
    bool holdsRights(AuthorizationRef ref) override { return services_.holdsRights(ref); }
    void free(AuthorizationRef ref, AuthorizationFlags flags) override {
        services_.free(ref, flags);
    }
    Authorization copyPrivilegedReference(AuthorizationFlags flags) override {
        return services_.copyPrivilegedReference(flags);
    }

    /// The tool's output is read to its end, which comes when the tool has ended.
    PrivilegedTool executeWithPrivileges(AuthorizationRef ref, const std::string& toolPath,
                                         AuthorizationFlags options,
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
    AuthorizationServices& services_;
};

class Observation::ObservedProcessLauncher : public ProcessLauncher {
public:
    ObservedProcessLauncher(Observation& observation, ProcessLauncher& launcher)
        : observation_(observation), launcher_(launcher) {}

    std::shared_ptr<Pipe> makePipe() override { return launcher_.makePipe(); }
    std::vector<std::shared_ptr<Pipe>> makePipes(std::size_t count) override {
        return launcher_.makePipes(count);
    }
    std::shared_ptr<ChildProcess> launch(const ProcessDescription& description) override {
        auto child = launcher_.launch(description);
        if (description.launchPath == mover) {
            observation_.noteMover(child);
        }
        return child;
    }

private:
    Observation& observation_;
    ProcessLauncher& launcher_;
};

Observation::Observation()
    : workspace_(std::make_unique<ObservedWorkspace>(*this, service<Workspace>())),
      authorizationServices_(
          std::make_unique<ObservedAuthorizationServices>(*this, service<AuthorizationServices>())),
      processLauncher_(
          std::make_unique<ObservedProcessLauncher>(*this, service<ProcessLauncher>())) {
    install<Workspace>(*workspace_);
    install<AuthorizationServices>(*authorizationServices_);
    install<ProcessLauncher>(*processLauncher_);
}

Observation::~Observation() = default;

void Observation::noteAttempt(const std::string& path, const std::optional<Error>& error) {
    const std::lock_guard lock(mutex_);
    current_ = path;
    auto& attempt = attempts_[path];
    attempt.succeeded = attempt.succeeded || !error;
    attempt.failure = error ? error->localizedDescription : std::string();
}

void Observation::noteRight(AuthorizationStatus status) {
    const std::lock_guard lock(mutex_);
    attempts_[current_].right = status;
}

void Observation::noteMover(std::shared_ptr<ChildProcess> child) {
    const std::lock_guard lock(mutex_);
    movers_.push_back(std::move(child));
}

void Observation::waitForMovers() {
    std::vector<std::shared_ptr<ChildProcess>> movers;
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

} // namespace platform::terminal
