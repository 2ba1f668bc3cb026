#include "qf/platform/StartUp.h"
#include "qf/util/log/QFLog.h"
#include "qf/util/task/QFTaskEx.h"

#include <chrono>
#include <future>
#include <iostream>

namespace {

/// Receives a tool's output piece by piece; an empty piece is the end.
class Listener final : public qf::Delegate {
public:
    bool respondsTo(const std::string& selector) const override {
        return selector == "toolPrinted:runner:";
    }

    void perform(const std::string& /*selector*/,
                 const std::vector<qf::Value>& arguments) override {
        const auto& bytes = arguments.at(0).as<qf::Data>()->bytes;
        if (bytes.empty()) {
            ended_.set_value();
        }
        for (const auto byte : bytes) {
            std::cout << static_cast<char>(byte);
        }
    }

    /// Returns whether the end came in time. A tool that cannot be run never calls the listener.
    bool waitForTheEnd() {
        return ended_.get_future().wait_for(std::chrono::minutes(1)) == std::future_status::ready;
    }

private:
    std::promise<void> ended_;
};

int run() {
    QFLog::createNewLog("task");

    // A path and arguments; no shell is involved.
    const auto said = QFTaskEx::stringFromTask("/bin/echo", {"$HOME", "stays as it is"});
    // Empty if the tool cannot be run. No value if its output is not ASCII text; other overloads
    // take the encoding.
    std::cout << "said: " << said.value_or("nothing\n") << std::flush;

    const int status = QFTaskEx::terminationCodeFromTask("/bin/sh", {"-c", "exit 3"});
    std::cout << "status: " << status << std::endl;

    // A tool that takes too long is ended, and its output until then is returned.
    const auto begun =
        QFTaskEx::stringFromTask("/bin/sh", {"-c", "echo begun; exec sleep 600"}, qf::Timeout(1));
    std::cout << "in time: " << begun.value_or("nothing\n");

    const auto listener = std::make_shared<Listener>();
    const auto runner = QFTaskEx::create();
    runner->asyncDataFromTask("/bin/sh", {"-c", "echo piece by piece"}, listener,
                              "toolPrinted:runner:", qf::Value());
    return listener->waitForTheEnd() ? 0 : 1;
}

} // namespace

int main() {
    qf::installServices({"com.example.Task", "1.0"});
    // Writes the log to its end when `run` returns. Time-outs work without it.
    return qf::consoleMain(run);
}
