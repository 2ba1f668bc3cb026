// Walks the whole uninstall plan, shared items included, in the environment of a throwaway copy of
// the machine, and prints a line for each row, separated by tabs: its milliseconds, the
// milliseconds in which it waited for tools, and its subject. tests/e2e/measure-plan runs it.

#include "app/MainMenu.h"
#include "app/PlanInventory.h"
#include "app/UninstallPlan.h"
#include "app/start/ApplicationMain.h"
#include "platform/Application.h"
#include "platform/ProcessLauncher.h"
#include "platform/Services.h"
#include "platform/StartUp.h"
#include "platform/foundation/Thread.h"
#include "util/log/QFLog.h"

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <memory>
#include <sstream>
#include <string>
#include <utility>

namespace {

using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::duration<double, std::milli>;

/// Adds up the time from each child's launch to its end, as far as a caller waits for it.
class TimedChild : public qf::ChildProcess {
public:
    TimedChild(std::shared_ptr<qf::ChildProcess> child, Clock::time_point launched,
               Milliseconds& sum)
        : child_(std::move(child)), launched_(launched), sum_(sum) {}

    long processIdentifier() const override { return child_->processIdentifier(); }
    bool isRunning() override { return child_->isRunning(); }
    void waitUntilExit() override {
        child_->waitUntilExit();
        const auto now = Clock::now();
        sum_ += now - std::exchange(launched_, now);
    }
    void terminate() override { child_->terminate(); }
    void kill() override { child_->kill(); }
    void endOutputWithChild() override { child_->endOutputWithChild(); }
    int terminationStatus() override { return child_->terminationStatus(); }

private:
    std::shared_ptr<qf::ChildProcess> child_;
    Clock::time_point launched_;
    Milliseconds& sum_;
};

class TimedLauncher : public qf::ProcessLauncher {
public:
    explicit TimedLauncher(qf::ProcessLauncher& launcher) : launcher_(launcher) {}

    bool canLaunch(const std::string& path) override { return launcher_.canLaunch(path); }
    std::shared_ptr<qf::Pipe> makePipe() override { return launcher_.makePipe(); }
    std::vector<std::shared_ptr<qf::Pipe>> makePipes(std::size_t count) override {
        return launcher_.makePipes(count);
    }
    std::shared_ptr<qf::ChildProcess> launch(const qf::ProcessDescription& description) override {
        const auto begin = Clock::now();
        return std::make_shared<TimedChild>(launcher_.launch(description), begin, sum_);
    }

    /// Returns the sum since the last call.
    Milliseconds take() { return std::exchange(sum_, {}); }

private:
    qf::ProcessLauncher& launcher_;
    Milliseconds sum_{};
};

std::string line(Milliseconds time, Milliseconds tools, const std::string& what) {
    std::ostringstream text;
    text << time.count() << '\t' << tools.count() << '\t' << what << '\n';
    return text.str();
}

/// The lines are written at the end, so that they do not mix with the log's.
void walk(TimedLauncher& launcher) {
    const auto begin = Clock::now();
    const auto rows = uninstallPlan(RemoveShared::yes);
    PlanObserver observer;
    std::string lines = line(Clock::now() - begin, {}, "the plan itself");
    for (const auto& row : rows) {
        const auto rowBegin = Clock::now();
        walkUninstallPlan({row}, observer);
        const auto time = Clock::now() - rowBegin;
        lines += line(time, launcher.take(), nameOf(row.action) + (" " + row.subject));
    }
    QFLog::finishWriting();
    std::cout << lines << std::flush;
}

} // namespace

int main(int argc, char** argv) {
    if (!std::filesystem::exists("/run/throwaway-copy")) {
        std::cerr << "This is the machine itself, not a throwaway copy.\n";
        return EXIT_FAILURE;
    }
    qf::installServices();
    // Never destroyed: detached threads may use it until the process ends.
    static auto& launcher = *new TimedLauncher(qf::service<qf::ProcessLauncher>());
    qf::install<qf::ProcessLauncher>(launcher);
    PlanInventory inventory;
    return start::applicationMain(
        argc, argv, mainMenu(), inventory, [](qf::Interface&, PlanObserver&) {
            qf::detachNewThread([] {
                walk(launcher);
                auto& application = qf::service<qf::Application>();
                application.performOnMainThread([&] { application.terminate(); },
                                                qf::Wait::untilDone);
            });
        });
}
