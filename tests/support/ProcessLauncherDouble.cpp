#include "tests/support/ProcessLauncherDouble.h"

#include <utility>

namespace {

class Child : public qf::ChildProcess {
public:
    Child(std::function<void()> waited, int status) : waited_(std::move(waited)), status_(status) {}
    long processIdentifier() const override { return 1; }
    bool isRunning() override { return waited_ != nullptr; }
    void waitUntilExit() override {
        if (waited_) {
            waited_();
            waited_ = nullptr;
        }
    }
    void terminate() override { waited_ = nullptr; }
    void kill() override { waited_ = nullptr; }
    void endOutputWithChild() override {}
    int terminationStatus() override { return status_; }

private:
    std::function<void()> waited_;
    int status_;
};

} // namespace

bool RecordingProcessLauncher::canLaunch(const std::string& path) {
    return disk_.tools.contains(path) || standIns.contains(path);
}

std::shared_ptr<qf::Pipe> RecordingProcessLauncher::makePipe() {
    throw qf::Exception("NSFileHandleOperationException", "no pipes here");
}

std::vector<std::shared_ptr<qf::Pipe>> RecordingProcessLauncher::makePipes(std::size_t /*count*/) {
    return {makePipe()};
}

std::shared_ptr<qf::ChildProcess>
RecordingProcessLauncher::launch(const qf::ProcessDescription& description) {
    if (failure) {
        throw qf::Exception(*failure);
    }
    std::string line = description.launchPath;
    for (const auto& argument : description.arguments) {
        line += ' ' + argument;
    }
    runs.push_back(line);
    effect();
    return std::make_shared<Child>([this] { runs.emplace_back("waited"); }, terminationStatus);
}
