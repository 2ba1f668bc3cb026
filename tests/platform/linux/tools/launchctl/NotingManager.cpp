// A service manager that prints what it is asked, and what is in the user's directory of units
// then.

#include "platform/linux/tools/launchctl/ServiceManager.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

namespace fs = std::filesystem;

namespace qf::native::launchctl {

namespace {

std::string joined(const std::vector<std::string>& words) {
    std::string text;
    for (const auto& word : words) {
        text += " " + word;
    }
    return text;
}

class NotingManager : public ServiceManager {
public:
    bool hasUnitFile(const std::string& /*unit*/) override { return false; }
    void reload() override { note("reload"); }
    void start(const std::vector<std::string>& units, Clock::time_point /*patience*/) override {
        note("start" + joined(units));
        if (std::getenv("QF_REFUSE_START") != nullptr) {
            throw tool::ToolError("refused");
        }
    }
    void stop(const std::vector<std::string>& units, Clock::time_point /*patience*/) override {
        note("stop" + joined(units));
    }
    void forget(const std::string& unit) override { note("forget " + unit); }
    ServiceState stateOf(const std::string& /*service*/) override { return {}; }

private:
    static void note(const std::string& question) {
        const auto directory = std::string(std::getenv("HOME")) + "/.config/systemd/user";
        std::vector<std::string> files;
        std::error_code missing;
        for (const auto& entry : fs::recursive_directory_iterator(directory, missing)) {
            if (entry.is_symlink() || entry.is_regular_file()) {
                files.push_back(entry.path().lexically_relative(directory));
            }
        }
        std::ranges::sort(files);
        std::cout << question << ":" << joined(files) << '\n';
    }
};

} // namespace

} // namespace qf::native::launchctl

qf::native::launchctl::ServiceManager*
moduleMain(qf::native::launchctl::Domain /*domain*/,
           qf::native::launchctl::ServiceManager::Clock::time_point /*deadline*/) {
    return std::make_unique<qf::native::launchctl::NotingManager>().release();
}
