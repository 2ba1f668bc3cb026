#include "platform/support/LimitedRun.h"

#include "platform/Services.h"
#include "platform/foundation/Thread.h"

#include <atomic>
#include <future>
#include <memory>
#include <utility>
#include <vector>

namespace qf {

namespace {

/// Kills the child at the end of the scope, if it still runs.
class KilledAtLast {
public:
    explicit KilledAtLast(ChildProcess& child) : child_(child) {}
    ~KilledAtLast() { child_.kill(); }
    KilledAtLast(const KilledAtLast&) = delete;
    KilledAtLast& operator=(const KilledAtLast&) = delete;
    KilledAtLast(KilledAtLast&&) = delete;
    KilledAtLast& operator=(KilledAtLast&&) = delete;

private:
    ChildProcess& child_;
};

/// Reads to the end, or to the limit, where it calls `exceeded`.
template <class Exceeded>
std::string readUpTo(std::size_t limit, Pipe& pipe, Exceeded exceeded) {
    std::vector<std::byte> bytes;
    while (pipe.appendAvailable(bytes)) {
        if (bytes.size() > limit) {
            bytes.resize(limit);
            exceeded();
            break;
        }
    }
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

/// Returns what is ready once the child has ended. Its thread may wait for good: the end of a child
/// that another process traces is hidden until that takes note of it.
std::future<void> endOf(const std::shared_ptr<ChildProcess>& child) {
    const auto ended = std::make_shared<std::promise<void>>();
    auto end = ended->get_future();
    detachNewThread([child, ended] {
        child->waitUntilExit();
        ended->set_value();
    });
    return end;
}

} // namespace

LimitedRun runWithin(const RunLimits& limits, ProcessDescription description) {
    auto& launcher = service<ProcessLauncher>();
    const auto pipes = launcher.makePipes(2);
    description.standardOutput = ChildStream::through(pipes[0]);
    description.standardError = ChildStream::through(pipes[1]);
    const auto child = launcher.launch(description);
    child->endOutputWithChild();
    std::atomic<bool> wroteTooMuch = false;
    const auto read = [&](Pipe& pipe) {
        return readUpTo(limits.output, pipe, [&] {
            wroteTooMuch = true;
            child->kill();
        });
    };
    LimitedRun run;
    std::future<std::string> output;
    std::future<std::string> errors;
    const KilledAtLast guard(*child); // before the futures wait in their destructors
    output = std::async(std::launch::async, [&] { return read(*pipes[0]); });
    errors = std::async(std::launch::async, [&] { return read(*pipes[1]); });
    const auto end = endOf(child);
    if (end.wait_for(limits.time) == std::future_status::timeout) {
        run.tookTooLong = true;
        child->kill();
        if (end.wait_for(limits.dying) == std::future_status::timeout) {
            pipes[0]->closeReadEnd();
            pipes[1]->closeReadEnd();
        }
    }
    run.output = output.get();
    run.errors = errors.get();
    run.wroteTooMuch = wroteTooMuch;
    run.status = child->terminationStatus();
    return run;
}

} // namespace qf
