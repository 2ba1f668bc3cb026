#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

/// Children of a benchmark, and its rounds.
namespace contest {

using Command = std::vector<std::string>;

/// Where a child reads from or writes to; no descriptor means nowhere.
struct Streams {
    int input = -1;
    int output = -1;
};

/// Starts a program, found through PATH, and gives its process number. Throws when it cannot.
int start(const Command& command, const Streams& streams = {});

/// Waits for a program. Throws when it failed.
void finish(int process);

/// Runs programs to their ends, so many at a time.
void runAll(const std::vector<Command>& commands, std::size_t atATime = 1);

/// Whether PATH has such a program.
bool isInstalled(const std::string& program);

/// One way to do the work.
struct Contender {
    std::string name;
    std::function<void()> run;
    /// What puts everything back as it was before a run, outside the time.
    std::function<void()> prepare = [] {};
};

/// Runs every contender once a round, so that whatever disturbs the machine disturbs all, each
/// round beginning with another, and prints each one's time, its rate when `bytes` are the work of
/// a run, and what part of its time the first contender takes, also counted in processor time,
/// which a busy machine does not stretch, as minimum / median / maximum.
void compare(const std::string& title, std::size_t rounds, double bytes,
             const std::vector<Contender>& contenders);

/// A directory of the benchmark's own, deleted with all that is in it at the scope's end.
class Directory {
public:
    explicit Directory(const std::string& parent);
    ~Directory();
    Directory(const Directory&) = delete;
    Directory& operator=(const Directory&) = delete;
    Directory(Directory&&) = delete;
    Directory& operator=(Directory&&) = delete;

    std::string operator/(const std::string& name) const { return path_ + "/" + name; }

    /// Writes a file of noise and gives its path.
    std::string writeNoise(const std::string& name, std::uint64_t size) const;

private:
    std::string path_;
};

/// Where to work: what the variable QF_BENCH_FOLDER names, or /dev/shm, memory, so that the medium
/// does not stand in for the programs. Prints which it is.
std::string workPlace();

} // namespace contest
