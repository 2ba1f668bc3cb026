#include "benchmarks/files/Comparison.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <iomanip>
#include <sstream>
#include <stdexcept>

namespace {

/// Minimum, median and maximum.
std::string spread(std::vector<double> values, int digits) {
    std::ranges::sort(values);
    std::ostringstream text;
    text << std::fixed << std::setprecision(digits) << values.front() << " / "
         << values[values.size() / 2] << " / " << values.back();
    return text.str();
}

} // namespace

double secondsOf(const std::function<void()>& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

void runTool(const std::vector<std::string>& command) {
    std::vector<std::string> copy = command;
    std::vector<char*> arguments;
    for (auto& argument : copy) {
        arguments.push_back(argument.data());
    }
    arguments.push_back(nullptr);
    pid_t child = 0;
    int status = 0;
    if (::posix_spawnp(&child, arguments.front(), nullptr, nullptr, arguments.data(), ::environ) !=
            0 ||
        ::waitpid(child, &status, 0) != child || status != 0) {
        throw std::runtime_error(command.front() + " failed");
    }
}

void compare(const std::string& title, int rounds, const std::vector<Contender>& contenders) {
    std::vector<std::vector<double>> times(contenders.size());
    std::vector<std::vector<double>> ratios(contenders.size());
    for (int round = 0; round < rounds; ++round) {
        for (std::size_t turn = 0; turn < contenders.size(); ++turn) {
            const auto index = round % 2 == 0 ? turn : contenders.size() - 1 - turn;
            times[index].push_back(contenders[index].run());
            if (contenders[index].clearAway) {
                contenders[index].clearAway();
            }
        }
        for (std::size_t index = 0; index < contenders.size(); ++index) {
            ratios[index].push_back(times[index].back() / times.front().back());
        }
    }
    std::printf("%s, %d rounds\n", title.c_str(), rounds);
    for (std::size_t index = 0; index < contenders.size(); ++index) {
        std::printf("  %-28s s: %-24s ratio: %s\n", contenders[index].name.c_str(),
                    spread(times[index], 4).c_str(), spread(ratios[index], 2).c_str());
    }
    std::fflush(stdout);
}
