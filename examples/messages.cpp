#include "qf/platform/Console.h"
#include "qf/platform/Services.h"
#include "qf/platform/StartUp.h"
#include "qf/util/files/QFFileManager.h"

#include <iostream>
#include <mutex>
#include <string>
#include <vector>

namespace {

/// Keeps the lines that would go to the system log, so that the program can show them.
class KeptMessages final : public qf::Console {
public:
    void systemLog(std::string_view message) override {
        const std::lock_guard lock(mutex_);
        lines_.emplace_back(message);
    }
    void print(std::string_view text) override { std::cout << text << std::flush; }

    std::vector<std::string> lines() {
        const std::lock_guard lock(mutex_);
        return lines_;
    }

private:
    std::mutex mutex_; // any thread may have something to say
    std::vector<std::string> lines_;
};

} // namespace

int main() {
    qf::installServices({"com.example.Messages", "1.0"});
    static KeptMessages messages;
    qf::install<qf::Console>(messages);

    const auto digest = QFFileManager::sha256HashForFile("/nowhere/recording.wav");
    std::cout << "digest: " << digest.value_or("none") << '\n';
    for (const auto& line : messages.lines()) {
        std::cout << "why: " << line << '\n';
    }
}
