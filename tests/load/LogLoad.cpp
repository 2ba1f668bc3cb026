// Writes entries into the log "load", as one of several processes: log-load NAME THREADS COUNT
// KEPT. Each thread writes COUNT entries "NAME-THREAD-NUMBER xxx.". Logs that the library would
// delete are moved into the folder KEPT instead, so that all entries can be counted.

#include "qf/platform/LogFiles.h"
#include "qf/platform/Services.h"
#include "qf/platform/StartUp.h"
#include "qf/util/log/QFLog.h"

#include <atomic>
#include <cstddef>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

/// Callers go on after so many entries only when these are written, as a program does that must not
/// use more and more memory.
constexpr int entriesAtOnce = 64;

class KeptLogFiles final : public qf::LogFiles {
public:
    KeptLogFiles(qf::LogFiles& files, std::string prefix)
        : files_(files), prefix_(std::move(prefix)) {}

    bool exists(const std::string& path) override { return files_.exists(path); }
    qf::Result<void> createDirectory(const std::string& path) override {
        return files_.createDirectory(path);
    }
    qf::Result<void> removeLog(const std::string& path) override {
        return files_.renameLog(path, prefix_ + std::to_string(++count_));
    }
    qf::Result<void> renameLog(const std::string& path, const std::string& newPath) override {
        return files_.renameLog(path, newPath);
    }
    qf::Result<void> setAside(const std::string& path, const std::string& newPath) override {
        return files_.setAside(path, newPath);
    }
    qf::Result<void> createEmptyFile(const std::string& path) override {
        return files_.createEmptyFile(path);
    }
    std::shared_ptr<qf::LogFile> open(const std::string& path) override {
        return files_.open(path);
    }
    std::unique_ptr<qf::LogLock> lock(const std::vector<std::string>& directories) override {
        return files_.lock(directories);
    }

private:
    qf::LogFiles& files_;
    std::string prefix_;
    std::atomic<int> count_{0};
};

/// Entries differ in length.
void writeEntries(const std::string& name, int count) {
    for (int number = 0; number < count; ++number) {
        const std::string filling(static_cast<std::size_t>(number * 37 % 61), 'x');
        QFLog::fastAppendLog("%@-%d %@.", name, number, filling);
        if (number % entriesAtOnce == 0) {
            QFLog::finishWriting();
        }
    }
    QFLog::finishWriting();
}

} // namespace

int main(int argc, char* argv[]) {
    const std::vector<std::string> given(argv + 1, argv + argc);
    qf::installServices({"com.example.Load", "1.0"});
    // Never destroyed: the log's thread may use it until the process ends.
    static auto& files =
        *new KeptLogFiles(qf::service<qf::LogFiles>(), given.at(3) + "/" + given.at(0) + "-");
    qf::install<qf::LogFiles>(files);
    QFLog::createNewLog("load");
    std::vector<std::jthread> threads;
    for (int thread = 0; thread < std::stoi(given.at(1)); ++thread) {
        threads.emplace_back(writeEntries, given.at(0) + "-" + std::to_string(thread),
                             std::stoi(given.at(2)));
    }
    threads.clear();
    QFLog::willTerminate();
    return 0;
}
