#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

/// Children of a benchmark, and its rounds.
namespace contest {

using Command = std::vector<std::string>;

/// Where a child reads from or writes to; without a descriptor, nowhere.
struct Streams {
    int input = -1;
    int output = -1;
};

/// Starts a program, found through PATH, and returns its process id. Throws on failure.
int start(const Command& command, const Streams& streams = {});

/// Waits for a program. Throws if it failed.
void finish(int process);

/// Runs programs to their end, so many at a time.
void runAll(const std::vector<Command>& commands, std::size_t atATime = 1);

/// Returns whether PATH has such a program.
bool isInstalled(const std::string& program);

/// One way to do the work.
struct Contender {
    std::string name;
    std::function<void()> run;
    /// Restores everything to the state before a run, unmeasured.
    std::function<void()> prepare = [] {};
};

/// Runs every contender once in each round, so that disturbances affect all of them, beginning each
/// round with another. Prints as minimum / median / maximum each one's time, its rate if a run's
/// work is `bytes`, and the first contender's share of its time, also in processor time, which a
/// busy machine does not stretch.
void compare(const std::string& title, std::size_t rounds, double bytes,
             const std::vector<Contender>& contenders);

/// The benchmark's own directory, deleted with its contents at the scope's end.
class DirectoryReader {
public:
    explicit DirectoryReader(const std::string& parent);
    ~DirectoryReader();
    DirectoryReader(const DirectoryReader&) = delete;
    DirectoryReader& operator=(const DirectoryReader&) = delete;
    DirectoryReader(DirectoryReader&&) = delete;
    DirectoryReader& operator=(DirectoryReader&&) = delete;

    std::string operator/(const std::string& name) const { return path_ + "/" + name; }

    /// Writes a file of noise and returns its path.
    std::string writeNoise(const std::string& name, std::uint64_t size) const;

private:
    std::string path_;
};

/// Returns the directory to work in: the one that the variable QF_BENCH_FOLDER names, otherwise
/// /dev/shm, memory, so that the programs are measured and not the medium. Prints which it is.
std::string workPlace();

/// Returns the directory on a disk: the one that the variable QF_BENCH_DISK names, otherwise
/// /var/tmp. Prints which it is.
std::string workPlaceOnDisk();

} // namespace contest
