#include "platform/StartUp.h"
#include "util/log/QFLog.h"
#include "util/task/QFTaskEx.h"

#include <future>
#include <iostream>

namespace {

/// Receives a tool's output piece by piece; an empty piece is the end.
class Listener final : public platform::Delegate {
public:
    bool respondsTo(const std::string& selector) const override {
        return selector == "toolPrinted:runner:";
    }

    void perform(const std::string& /*selector*/,
                 const std::vector<platform::Value>& arguments) override {
        const auto& bytes = arguments.at(0).as<platform::Data>()->bytes;
        if (bytes.empty()) {
            ended_.set_value();
        }
        for (const auto byte : bytes) {
            std::cout << static_cast<char>(byte);
        }
    }

    void waitForTheEnd() { ended_.get_future().wait(); }

private:
    std::promise<void> ended_;
};

int run() {
    QFLog::createNewLog("task");

    // A path and arguments; no shell is involved.
    const auto said = QFTaskEx::stringFromTask("/bin/echo", {"$HOME", "stays as it is"});
    // No value if the tool cannot be run or prints more than ASCII text; other overloads take the
    // encoding.
    std::cout << "said: " << said.value_or("nothing\n") << std::flush;

    const int status = QFTaskEx::terminationCodeFromTask("/bin/sh", {"-c", "exit 3"});
    std::cout << "status: " << status << std::endl;

    // A tool that takes too long is ended, and its output until then is returned.
    const auto begun = QFTaskEx::stringFromTask("/bin/sh", {"-c", "echo begun; exec sleep 600"},
                                                platform::Timeout(1));
    std::cout << "in time: " << begun.value_or("nothing\n");

    const auto listener = std::make_shared<Listener>();
    const auto runner = QFTaskEx::create();
    runner->asyncDataFromTask("/bin/sh", {"-c", "echo piece by piece"}, listener,
                              "toolPrinted:runner:", platform::Value());
    listener->waitForTheEnd();
    return 0;
}

} // namespace

int main() {
    platform::installServices({"com.example.Task", "1.0"});
    // Time-outs need a main thread that runs its loop.
    return platform::consoleMain(run);
}
