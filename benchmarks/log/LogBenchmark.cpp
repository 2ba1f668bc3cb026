// The cost of an entry from the call to the file, compared with a bare loop that does the least
// necessary, and with spdlog if it is installed.

#include "platform/SearchPaths.h"
#include "platform/Services.h"
#include "platform/UserAccount.h"
#include "platform/foundation/Date.h"
#include "platform/linux/files/LogFiles.h"
#include "platform/linux/plist/PropertyLists.h"
#include "platform/linux/system/Clock.h"
#include "platform/linux/system/Console.h"
#include "platform/linux/system/SystemInformation.h"
#include "util/log/QFLog.h"

#ifdef QF_WITH_SPDLOG
#include <spdlog/async.h>
#include <spdlog/sinks/rotating_file_sink.h>
#include <spdlog/spdlog.h>
#endif

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <sys/wait.h>
#include <syslog.h>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

namespace {

using Seconds = std::chrono::duration<double>;

constexpr int entries = 200000;
constexpr int rounds = 9;
constexpr const char* item = "/Applications/Kelvane/Dunmarl.app";

double secondsOf(const std::function<void()>& work) {
    const auto begin = std::chrono::steady_clock::now();
    work();
    return Seconds(std::chrono::steady_clock::now() - begin).count();
}

/// Runs `produce` on so many threads, which share the entries.
void onThreads(int threadCount, const std::function<void(int)>& produce) {
    std::vector<std::jthread> threads;
    threads.reserve(static_cast<std::size_t>(threadCount));
    for (int thread = 0; thread < threadCount; ++thread) {
        threads.emplace_back(produce, entries / threadCount);
    }
}

/// Does the least to write an entry: formats its date and text, and writes once.
double bareLoop(const std::string& path) {
    const int file =
        ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC, 0644);
    const auto seconds = secondsOf([file] {
        std::array<char, 256> entry{};
        for (int number = 0; number < entries; ++number) {
            const auto date = qf::description(qf::Date::clock::now());
            const int length = std::snprintf(entry.data(), entry.size(), "%s - Moved item %d: %s\n",
                                             date.c_str(), number, item);
            if (::write(file, entry.data(), static_cast<std::size_t>(length)) != length) {
                std::abort();
            }
        }
    });
    ::close(file);
    return seconds;
}

/// A log file that is never full, as the bare loop's is not.
class EndlessFile : public qf::LogFile {
public:
    explicit EndlessFile(const std::string& path) : file_(qf::service<qf::LogFiles>().open(path)) {}

    void append(std::string_view entry) override {
        QFLog::sharedController().setBytesWritten(0);
        file_->append(entry);
    }
    bool hasName() override { return file_->hasName(); }
    bool isInPlace() override { return file_->isInPlace(); }

private:
    std::shared_ptr<qf::LogFile> file_;
};

void logEntries(int count) {
    for (int number = 0; number < count; ++number) {
        QFLog::fastAppendLog("Moved item %d: %@", number, item);
    }
}

double ownLog(const std::string& path, int threadCount) {
    auto& files = qf::service<qf::LogFiles>();
    if (!files.createEmptyFile(path)) {
        std::abort();
    }
    QFLog::sharedController().setFileHandle(std::make_shared<EndlessFile>(path));
    return secondsOf([threadCount] {
        onThreads(threadCount, logEntries);
        QFLog::finishWriting();
    });
}

#ifdef QF_WITH_SPDLOG
double spdlogLog(const std::string& path, int threadCount) {
    spdlog::init_thread_pool(8192, 1);
    auto sink = std::make_shared<spdlog::sinks::rotating_file_sink_mt>(path, 1U << 30U, 5);
    auto logger = std::make_shared<spdlog::async_logger>("bench", sink, spdlog::thread_pool());
    logger->set_pattern("%Y-%m-%d %H:%M:%S %z - %v");
    logger->flush_on(spdlog::level::info);
    const auto seconds = secondsOf([&] {
        onThreads(threadCount, [&logger](int count) {
            for (int number = 0; number < count; ++number) {
                logger->info("Moved item {}: {}", number, item);
            }
        });
        logger.reset();
        spdlog::shutdown();
    });
    return seconds;
}
#endif

struct Spread {
    double least = 0;
    double median = 0;
    double greatest = 0;
};

Spread spreadOf(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return {values.front(), values[values.size() / 2], values.back()};
}

void printRow(const char* what, const Spread& ratio, double microseconds) {
    std::printf("%-44s %6.2f %6.2f %6.2f   %7.3f us an entry\n", what, ratio.least, ratio.median,
                ratio.greatest, microseconds);
}

/// Runs one peer after the other in each round, so that disturbances affect all of them.
void compare(const std::string& directory) {
    using Run = std::function<double()>;
    struct Contender {
        const char* name;
        Run run;
        std::vector<double> seconds;
        std::vector<double> ratios;
    };
    std::vector<Contender> contenders{
        {"bare loop", [&] { return bareLoop(directory + "/bare.log"); }, {}, {}},
        {"QFLog, 1 producer", [&] { return ownLog(directory + "/own.log", 1); }, {}, {}},
        {"QFLog, 8 producers", [&] { return ownLog(directory + "/own.log", 8); }, {}, {}},
#ifdef QF_WITH_SPDLOG
        {"spdlog async rotating, flushed, 1 producer",
         [&] { return spdlogLog(directory + "/spdlog1.log", 1); },
         {},
         {}},
        {"spdlog async rotating, flushed, 8 producers",
         [&] { return spdlogLog(directory + "/spdlog8.log", 8); },
         {},
         {}},
#endif
    };
    for (int round = 0; round < rounds; ++round) {
        for (auto& contender : contenders) {
            contender.seconds.push_back(contender.run());
            contender.ratios.push_back(contender.seconds.back() / contenders[0].seconds.back());
        }
    }
    std::printf("%-44s %6s %6s %6s\n", "an entry from call to file, as ratio", "min", "median",
                "max");
    for (const auto& contender : contenders) {
        printRow(contender.name, spreadOf(contender.ratios),
                 spreadOf(contender.seconds).median / entries * 1e6);
    }
}

/// Measures what a call costs its caller while the queue is short: calls in small bursts, each on
/// an empty queue.
void measureProducer(const std::string& directory) {
    constexpr int burst = 20;
    constexpr int bursts = 2000;
    QFLog::sharedController().setFileHandle(std::make_shared<EndlessFile>(directory + "/own.log"));
    std::vector<double> means;
    std::vector<double> calls;
    for (int round = 0; round < bursts; ++round) {
        double sum = 0;
        for (int number = 0; number < burst; ++number) {
            const auto seconds =
                secondsOf([number] { QFLog::fastAppendLog("Moved item %d: %@", number, item); });
            calls.push_back(seconds);
            sum += seconds;
        }
        means.push_back(sum / burst);
        QFLog::finishWriting();
    }
    const auto call = spreadOf(calls);
    const auto mean = spreadOf(means);
    std::printf("\n%-44s %6s %6s %6s\n", "fastAppendLog on the caller's side, in us", "min",
                "median", "max");
    std::printf("%-44s %6.3f %6.3f %6.1f\n", "one call on a short queue", call.least * 1e6,
                call.median * 1e6, call.greatest * 1e6);
    std::printf("%-44s %6.3f %6.3f %6.1f\n", "mean of 20 calls from an empty queue on",
                mean.least * 1e6, mean.median * 1e6, mean.greatest * 1e6);
}

constexpr int crowdSize = 8;
constexpr int crowdEntries = 20000;

/// A user who is not the superuser, with the benchmark's Library directory.
class Account : public qf::UserAccount {
public:
    unsigned realUserId() override { return 1000; }
    std::string homeDirectory() override { return "/"; }
    std::optional<std::string> otherOwnerOfHome() override { return {}; }
    std::string loginName() override { return "bench"; }
    std::string temporaryDirectory() override { return "/tmp"; }
    std::optional<std::string> cacheDirectory() override { return {}; }
    std::string stateDirectory() override { return {}; }
};

class Directories : public qf::SearchPaths {
public:
    explicit Directories(std::string library) : library_(std::move(library)) {}
    std::vector<std::string> directories(qf::DirectoryKind /*kind*/,
                                         qf::DomainMask /*domain*/) override {
        return {library_};
    }

private:
    std::string library_;
};

void installLog(const std::string& directory) {
    static auto& account = *new Account;
    static auto& directories = *new Directories(directory);
    static auto& system = *new qf::native::SystemInformation("1.0");
    static auto& lists = *new qf::native::PropertyLists;
    qf::install<qf::UserAccount>(account);
    qf::install<qf::SearchPaths>(directories);
    qf::install<qf::SystemInformation>(system);
    qf::install<qf::PropertyLists>(lists);
    QFLog::sharedController().setAppName("bench");
}

/// Log files that are set aside instead of deleted, so that all entries can be counted.
class CountedLogFiles : public qf::native::LogFiles {
public:
    explicit CountedLogFiles(std::string directory) : directory_(std::move(directory)) {}

    /// Called while the logs are locked.
    qf::Result<void> removeLog(const std::string& path) override {
        auto name = directory_ + "/XXXXXX";
        ::close(::mkstemp(name.data()));
        std::filesystem::rename(path, name);
        return {};
    }

private:
    std::string directory_;
};

/// Does the work of one process of a crowd, given its number, in the crowd's directory.
using CrowdWork = std::function<void(const std::string& directory, const std::string& number)>;

void logWithQFLog(const std::string& directory, const std::string& /*number*/) {
    static auto& files = *new CountedLogFiles(directory);
    qf::install<qf::LogFiles>(files);
    installLog(directory);
    logEntries(crowdEntries);
    QFLog::finishWriting();
}

#ifdef QF_WITH_SPDLOG
void logWithSpdlog(const std::string& directory, const std::string& number) {
    constexpr std::size_t fileSize = 500000;
    constexpr std::size_t manyFiles = 1000;
    spdlog::logger logger("bench", std::make_shared<spdlog::sinks::rotating_file_sink_mt>(
                                       directory + "/" + number + ".log", fileSize, manyFiles));
    logger.set_pattern("%Y-%m-%d %H:%M:%S %z - %v");
    logger.flush_on(spdlog::level::info);
    for (int entry = 0; entry < crowdEntries; ++entry) {
        logger.info("Moved item {}: {}", entry, item);
    }
}
#endif

void logWithSyslog(const std::string& /*directory*/, const std::string& /*number*/) {
    for (int entry = 0; entry < crowdEntries; ++entry) {
        ::syslog(LOG_USER | LOG_DEBUG, "Moved item %d: %s", entry, item);
    }
}

/// Returns how many entries the files of a directory hold.
int entriesIn(const std::string& directory) {
    int count = 0;
    for (const auto& file : std::filesystem::recursive_directory_iterator(directory)) {
        std::ifstream lines(file.path());
        for (std::string line; file.is_regular_file() && std::getline(lines, line);) {
            count += line.find("Moved item") != std::string::npos ? 1 : 0;
        }
    }
    return count;
}

double secondsOfCrowd(const CrowdWork& work, const std::string& directory) {
    return secondsOf([&] {
        std::vector<pid_t> processes;
        for (int number = 0; number < crowdSize; ++number) {
            const pid_t process = ::fork();
            if (process == 0) {
                work(directory, std::to_string(number));
                ::_exit(0);
            }
            processes.push_back(process);
        }
        for (const pid_t process : processes) {
            ::waitpid(process, nullptr, 0);
        }
    });
}

struct Crowd {
    const char* name;
    /// Empty if it is not available, with the reason.
    CrowdWork work;
    const char* whyNot;
    /// Whether its entries arrive in the directory, where they can be counted.
    bool isCounted;
    std::vector<double> rates;
    std::vector<double> ratios;
    int lost = 0;
};

std::vector<Crowd> crowds() {
    std::vector<Crowd> all;
    all.push_back({"QFLog, one rotating log", logWithQFLog, "", true, {}, {}});
#ifdef QF_WITH_SPDLOG
    all.push_back({"spdlog rotating, flushed, a file each", logWithSpdlog, "", true, {}, {}});
#else
    all.push_back(
        {"spdlog", nullptr, "libspdlog-dev was not there when this was built", true, {}, {}});
#endif
    if (std::filesystem::exists("/dev/log")) {
        all.push_back({"syslog", logWithSyslog, "", false, {}, {}});
    } else {
        all.push_back({"syslog", nullptr, "none runs here: there is no /dev/log", false, {}, {}});
    }
    return all;
}

void runCrowd(Crowd& crowd, const std::string& directory) {
    constexpr int all = crowdSize * crowdEntries;
    const auto logs = directory + "/Logs/Quillfen";
    std::filesystem::create_directories(logs);
    std::ofstream(logs + "/bench.1.log").flush();
    crowd.rates.push_back(all / secondsOfCrowd(crowd.work, directory));
    crowd.lost += crowd.isCounted ? all - entriesIn(directory) : 0;
    std::filesystem::remove_all(directory);
}

/// Compares entries of many processes at once: into one log that starts over when it is full, into
/// a separate file for each process, and to the machine's log, whose losses are unknown. One after
/// the other in each round.
void compareCrowds(const std::string& directory) {
    auto all = crowds();
    for (int round = 0; round < rounds; ++round) {
        for (auto& crowd : all) {
            if (crowd.work) {
                runCrowd(crowd, directory + "/crowd");
                crowd.ratios.push_back(crowd.rates.back() / all.front().rates.back());
            }
        }
    }
    std::printf("%-44s %6s %6s %6s %14s %8s\n", "8 processes at once, speed as ratio", "min",
                "median", "max", "entries/s", "lost");
    for (const auto& crowd : all) {
        if (!crowd.work) {
            std::printf("%-44s not measured: %s\n", crowd.name, crowd.whyNot);
            continue;
        }
        const auto ratio = spreadOf(crowd.ratios);
        std::printf("%-44s %6.2f %6.2f %6.2f %14.0f %8s\n", crowd.name, ratio.least, ratio.median,
                    ratio.greatest, spreadOf(crowd.rates).median,
                    crowd.isCounted ? std::to_string(crowd.lost).c_str() : "unknown");
    }
    std::printf("\n");
}

} // namespace

int main() {
    auto pattern = (std::filesystem::temp_directory_path() / "qf-bench-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) {
        return 1;
    }
    // Never destroyed: the log's thread may use them until the process ends.
    static auto& clock = *new qf::native::Clock;
    static auto& console = *new qf::native::Console;
    static auto& files = *new qf::native::LogFiles;
    qf::install<qf::Clock>(clock);
    qf::install<qf::Console>(console);
    qf::install<qf::LogFiles>(files);

    compareCrowds(pattern); // first: a process that forks must have no other threads
    compare(pattern);
    measureProducer(pattern);
    std::filesystem::remove_all(pattern);
    return 0;
}
