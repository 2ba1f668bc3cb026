#include "tests/support/ProcessLauncherDouble.h"

#include <utility>

namespace {

class Child : public platform::ChildProcess {
public:
    explicit Child(std::function<void()> waited) : waited_(std::move(waited)) {}
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
    int terminationStatus() override { return 0; }

private:
    std::function<void()> waited_;
};

} // namespace

bool RecordingProcessLauncher::canLaunch(const std::string& path) {
    return disk_.tools.contains(path) || standIns.contains(path);
}

std::shared_ptr<platform::Pipe> RecordingProcessLauncher::makePipe() {
    throw platform::Exception("NSFileHandleOperationException", "no pipes here");
}

std::vector<std::shared_ptr<platform::Pipe>>
RecordingProcessLauncher::makePipes(std::size_t /*count*/) {
    return {makePipe()};
}

std::shared_ptr<platform::ChildProcess>
RecordingProcessLauncher::launch(const platform::ProcessDescription& description) {
    if (failure) {
        throw platform::Exception(*failure);
    }
    std::string line = description.launchPath;
    for (const auto& argument : description.arguments) {
        line += ' ' + argument;
    }
    runs.push_back(line);
    effect();
    return std::make_shared<Child>([this] { runs.emplace_back("waited"); });
}
