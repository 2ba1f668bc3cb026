#include "benchmarks/copy/Contest.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <random>
#include <sstream>
#include <system_error>

namespace contest {

namespace {

void check(int error, const std::string& what) {
    if (error != 0) {
        throw std::system_error(error, std::generic_category(), what);
    }
}

/// How long a run took, and its processor time.
struct Cost {
    double seconds = 0;
    double processorSeconds = 0;
};

double processorSeconds() {
    double sum = 0;
    for (const int who : {RUSAGE_SELF, RUSAGE_CHILDREN}) {
        rusage usage{};
        ::getrusage(who, &usage);
        for (const auto& time : {usage.ru_utime, usage.ru_stime}) {
            sum += static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
        }
    }
    return sum;
}

Cost costOf(const std::function<void()>& work) {
    const auto begin = std::chrono::steady_clock::now();
    const auto processorsBefore = processorSeconds();
    work();
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - begin;
    return {elapsed.count(), processorSeconds() - processorsBefore};
}

/// Minimum, median and maximum.
std::string spread(std::vector<double> values, int digits) {
    std::ranges::sort(values);
    std::ostringstream text;
    text << std::fixed << std::setprecision(digits) << values.front() << " / "
         << values[values.size() / 2] << " / " << values.back();
    return text.str();
}

std::string placeNamedBy(const char* variable, const char* otherwise) {
    const char* named = std::getenv(variable);
    std::string place = named != nullptr ? named : otherwise;
    std::printf("in %s\n", place.c_str());
    return place;
}

} // namespace

int start(const Command& command, const Streams& streams) {
    std::vector<char*> arguments;
    for (const auto& word : command) {
        arguments.push_back(const_cast<char*>(word.c_str())); // NOLINT: as posix_spawn has it
    }
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t actions{};
    ::posix_spawn_file_actions_init(&actions);
    const auto redirect = [&actions](int descriptor, int standard, int flags) {
        if (descriptor >= 0) {
            ::posix_spawn_file_actions_adddup2(&actions, descriptor, standard);
        } else {
            ::posix_spawn_file_actions_addopen(&actions, standard, "/dev/null", flags, 0);
        }
    };
    redirect(streams.input, STDIN_FILENO, O_RDONLY);
    redirect(streams.output, STDOUT_FILENO, O_WRONLY);
    pid_t process = 0;
    const int error =
        ::posix_spawnp(&process, arguments[0], &actions, nullptr, arguments.data(), environ);
    ::posix_spawn_file_actions_destroy(&actions);
    check(error, command[0]);
    return process;
}

void finish(int process) {
    int status = 0;
    if (::waitpid(process, &status, 0) != process || status != 0) {
        throw std::runtime_error("a program failed");
    }
}

void runAll(const std::vector<Command>& commands, std::size_t atATime) {
    std::deque<int> running;
    for (const auto& command : commands) {
        if (running.size() == atATime) {
            finish(running.front());
            running.pop_front();
        }
        running.push_back(start(command));
    }
    std::ranges::for_each(running, finish);
}

bool isInstalled(const std::string& program) {
    const char* path = std::getenv("PATH");
    std::istringstream directories(path == nullptr ? "" : path);
    for (std::string directory; std::getline(directories, directory, ':');) {
        if (::access((directory + "/" + program).c_str(), X_OK) == 0) {
            return true;
        }
    }
    return false;
}

void compare(const std::string& title, std::size_t rounds, double bytes,
             const std::vector<Contender>& contenders) {
    std::vector<std::vector<double>> times(contenders.size());
    std::vector<std::vector<double>> ratios(contenders.size());
    std::vector<std::vector<double>> processorRatios(contenders.size());
    for (std::size_t round = 0; round < rounds; ++round) {
        std::vector<Cost> costs(contenders.size());
        for (std::size_t turn = 0; turn < contenders.size(); ++turn) {
            const auto index = (round + turn) % contenders.size();
            contenders[index].prepare();
            costs[index] = costOf(contenders[index].run);
        }
        for (std::size_t index = 0; index < contenders.size(); ++index) {
            const auto& [seconds, processorSeconds] = costs[index];
            times[index].push_back(seconds);
            ratios[index].push_back(costs.front().seconds / seconds);
            processorRatios[index].push_back(costs.front().processorSeconds / processorSeconds);
        }
    }
    std::printf("%s, %zu rounds\n", title.c_str(), rounds);
    for (std::size_t index = 0; index < contenders.size(); ++index) {
        auto rates = times[index];
        std::ranges::transform(rates, rates.begin(),
                               [bytes](double seconds) { return bytes / seconds / 1e6; });
        std::printf("  %-36s s: %-21s MB/s: %-18s first / this: %-18s on processors: %s\n",
                    contenders[index].name.c_str(), spread(times[index], 3).c_str(),
                    spread(rates, 0).c_str(), spread(ratios[index], 2).c_str(),
                    spread(processorRatios[index], 2).c_str());
    }
    std::fflush(stdout);
}

DirectoryReader::DirectoryReader(const std::string& parent) : path_(parent + "/qf-bench-XXXXXX") {
    if (::mkdtemp(path_.data()) == nullptr) {
        check(errno, path_);
    }
}

DirectoryReader::~DirectoryReader() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

std::string DirectoryReader::writeNoise(const std::string& name, std::uint64_t size) const {
    auto path = *this / name;
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::ofstream file(path, std::ios::binary);
    std::mt19937_64 noise(size); // NOLINT: the same in every run, on purpose
    std::array<std::uint64_t, 2048> block{};
    for (std::uint64_t written = 0; written < size;) {
        std::ranges::generate(block, noise);
        const auto count = std::min<std::uint64_t>(sizeof block, size - written);
        file.write(reinterpret_cast<const char*>(block.data()),
                   static_cast<std::streamsize>(count));
        written += count;
    }
    if (!file.flush()) {
        throw std::runtime_error("no room for the benchmark's files");
    }
    return path;
}

std::string workPlace() {
    return placeNamedBy("QF_BENCH_FOLDER", "/dev/shm");
}

std::string workPlaceOnDisk() {
    return placeNamedBy("QF_BENCH_DISK", "/var/tmp");
}

} // namespace contest
