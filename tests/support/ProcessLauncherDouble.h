#pragma once

#include "platform/ProcessLauncher.h"
#include "platform/foundation/Exception.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

/// Launches nothing, remembers what was to be launched. Its children end when they are waited for.
class RecordingProcessLauncher : public platform::ProcessLauncher {
public:
    /// The tools that were run with their arguments, each as one line; one that was waited for has
    /// its end noted where it came.
    std::vector<std::string> runs;
    /// Raised by the next launches.
    std::optional<platform::Exception> failure;
    /// Does what the tool would.
    std::function<void()> effect = [] {};

    std::shared_ptr<platform::Pipe> makePipe() override {
        throw platform::Exception("NSFileHandleOperationException", "no pipes here");
    }

    std::shared_ptr<platform::ChildProcess>
    launch(const platform::ProcessDescription& description) override {
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

private:
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
        int terminationStatus() override { return 0; }

    private:
        std::function<void()> waited_;
    };
};
