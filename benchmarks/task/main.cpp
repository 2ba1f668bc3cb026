#include "benchmarks/task/Contenders.h"
#include "benchmarks/task/PythonPeer.h"
#include "platform/StartUp.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <functional>
#include <iomanip>
#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace {

constexpr const char* bare = "bare system calls";
constexpr const char* ours = "QFTaskEx";
constexpr const char* idleTool = "/bin/true";
constexpr std::size_t gigabyte = std::size_t{1} << 30U;

/// One way to do the work, which returns the seconds that it took.
struct Contender {
    std::string name;
    std::function<double()> run;
};

double secondsOf(const std::function<void()>& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

/// Minimum, median and maximum.
std::string spread(std::vector<double> values, int digits) {
    std::ranges::sort(values);
    std::ostringstream text;
    text << std::fixed << std::setprecision(digits) << values.front() << " / "
         << values[values.size() / 2] << " / " << values.back();
    return text.str();
}

/// Runs every contender once in each round, so that disturbances affect all of them, beginning each
/// round with another. Prints as minimum / median / maximum each one's time and its ratio to the
/// first.
void compare(const std::string& title, std::size_t rounds, double unit, const char* unitName,
             const std::vector<Contender>& contenders) {
    std::map<std::string, std::vector<double>> times;
    std::map<std::string, std::vector<double>> ratios;
    for (std::size_t round = 0; round < rounds; ++round) {
        for (std::size_t turn = 0; turn < contenders.size(); ++turn) {
            const auto& contender = contenders[(round + turn) % contenders.size()];
            times[contender.name].push_back(contender.run() * unit);
        }
        for (const auto& contender : contenders) {
            ratios[contender.name].push_back(times[contender.name].back() /
                                             times[contenders.front().name].back());
        }
    }
    std::printf("%s, %zu rounds\n", title.c_str(), rounds);
    for (const auto& contender : contenders) {
        std::printf("  %-24s %s: %-28s ratio: %s\n", contender.name.c_str(), unitName,
                    spread(times[contender.name], 3).c_str(),
                    spread(ratios[contender.name], 2).c_str());
    }
    std::fflush(stdout);
}

void compareLaunches(const std::string& title, PythonPeer& python) {
    constexpr int batch = 10;
    constexpr std::size_t rounds = 101;
    const auto repeated = [](void (*launch)(const std::string&)) {
        return [launch] {
            return secondsOf([launch] {
                for (int count = 0; count < batch; ++count) {
                    launch(idleTool);
                }
            });
        };
    };
    compare(title, rounds, 1000.0 / batch, "ms",
            {{bare, repeated(launchBare)},
             {ours, repeated(launchWithQFTaskEx)},
             {"QProcess", repeated(launchWithQProcess)},
             {"QProcess, clean child", repeated(launchCleanWithQProcess)},
             {"Python subprocess", [&python] {
                  return python.perform("launch " + std::to_string(batch) + " " + idleTool);
              }}});
}

/// Returns this process's peak memory, in bytes, since the last call of forgetPeak.
std::size_t peakMemory() {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with("VmHWM:")) {
            return std::stoul(line.substr(6)) * 1024;
        }
    }
    return 0;
}

void forgetPeak() {
    std::ofstream("/proc/self/clear_refs") << 5;
}

void compareCaptures(PythonPeer& python) {
    const std::vector<std::string> command{"/usr/bin/head", "-c", std::to_string(gigabyte),
                                           "/dev/zero"};
    std::string order = "capture " + std::to_string(gigabyte);
    for (const auto& word : command) {
        order += " " + word;
    }
    std::vector<double> memory;
    const auto measured = [&memory, &command] {
        forgetPeak();
        const auto before = peakMemory();
        const double seconds = secondsOf([&command] { captureWithQFTaskEx(command); });
        memory.push_back(static_cast<double>(peakMemory() - before) /
                         static_cast<double>(gigabyte));
        return seconds;
    };
    compare("1 GiB of output collected", 7, 1, "s",
            {{bare, [&command] { return secondsOf([&command] { captureBare(command); }); }},
             {ours, measured},
             {"Python subprocess", [&] { return python.perform(order); }}});
    std::printf("  %-24s memory as a multiple of the output: %s\n", ours,
                spread(memory, 2).c_str());
}

void run() {
    qf::installServices();
    PythonPeer python;
    compareLaunches("A child that does nothing", python);
    {
        const std::vector<char> ballast(gigabyte, 'x');
        python.perform("grow " + std::to_string(gigabyte));
        compareLaunches("A child that does nothing, from a process of 1 GiB", python);
        python.perform("grow 0");
    }
    compareCaptures(python);
}

} // namespace

int main() {
    try {
        run();
        return EXIT_SUCCESS;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return EXIT_FAILURE;
    }
}
