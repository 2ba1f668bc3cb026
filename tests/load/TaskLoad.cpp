// Runs child processes, and judges the result of each: task-load THREADS COUNT.
// A first round of a few makes all that stays for good. Before and after the second round, of COUNT
// children, it prints "ready" and "done" and waits for a line, so that its descriptors and children
// can be looked at from outside. The status is 0 if every result was right.

#include "qf/platform/StartUp.h"
#include "qf/util/task/QFTaskEx.h"

#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <future>
#include <iostream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr int firstRound = 50;
constexpr int patience = 60; // seconds, for children that end at once
constexpr std::size_t muchOutput = 200'000;

bool prints(int number) {
    const auto text = std::to_string(number);
    return QFTaskEx::stringFromTask("/bin/echo", {text}) == text + "\n";
}

bool printsInTime(int number) {
    const auto text = std::to_string(number);
    return QFTaskEx::stringFromTask("/bin/echo", {text}, qf::Timeout(patience)) == text + "\n";
}

bool exitsWith(int number) {
    constexpr int statuses = 256;
    const int status = number % statuses;
    return QFTaskEx::terminationCodeFromTask("/bin/sh", {"-c", "exit " + std::to_string(status)}) ==
           status;
}

bool printsMuch(int /*number*/) {
    qf::TaskSlot task;
    const auto data = QFTaskEx::dataFromTask("/usr/bin/head",
                                             {"-c", std::to_string(muchOutput), "/dev/zero"}, task);
    return data && data->bytes.size() == muchOutput;
}

/// Collects a tool's output.
class Collector final : public qf::Delegate {
public:
    bool respondsTo(const std::string& selector) const override {
        return selector == "toolPrinted:runner:";
    }
    void perform(const std::string& /*selector*/,
                 const std::vector<qf::Value>& arguments) override {
        const auto& bytes = arguments.at(0).as<qf::Data>()->bytes;
        for (const auto byte : bytes) {
            output_ += static_cast<char>(byte);
        }
        if (bytes.empty()) {
            ended_.set_value(output_);
        }
    }
    /// Returns nothing if no end comes.
    std::string waitForTheOutput() {
        auto output = ended_.get_future();
        return output.wait_for(std::chrono::seconds(patience)) == std::future_status::ready
                   ? output.get()
                   : "";
    }

private:
    std::string output_;
    std::promise<std::string> ended_;
};

bool printsMeanwhile(int number) {
    const auto text = std::to_string(number);
    const auto collector = std::make_shared<Collector>();
    const auto runner = QFTaskEx::create();
    runner->asyncDataFromTask("/bin/echo", {text}, collector, "toolPrinted:runner:", {});
    return collector->waitForTheOutput() == text + "\n";
}

constexpr std::array kinds{prints, printsInTime, exitsWith, printsMuch, printsMeanwhile};

/// Returns how many results were wrong.
int runChildren(int threadCount, int count) {
    std::atomic<int> next{0};
    std::atomic<int> wrong{0};
    std::vector<std::jthread> threads;
    for (int thread = 0; thread < threadCount; ++thread) {
        threads.emplace_back([&] {
            for (int number = next++; number < count; number = next++) {
                const auto isRight = kinds.at(static_cast<std::size_t>(number) % kinds.size());
                if (!isRight(number)) {
                    std::cout << "wrong: child " + std::to_string(number) + "\n" << std::flush;
                    ++wrong;
                }
            }
        });
    }
    threads.clear();
    return wrong;
}

void showTo(const std::string& word) {
    std::cout << word << std::endl;
    std::string line;
    std::getline(std::cin, line);
}

} // namespace

int main(int argc, char* argv[]) {
    const std::vector<std::string> given(argv + 1, argv + argc);
    qf::installServices({"com.example.Load", "1.0"});
    return qf::consoleMain([&] {
        const int threads = std::stoi(given.at(0));
        int wrong = runChildren(threads, firstRound);
        showTo("ready");
        wrong += runChildren(threads, std::stoi(given.at(1)));
        showTo("done");
        return wrong == 0 ? 0 : 1;
    });
}
