#include "platform/linux/authorization/ProcessStatus.h"

#include <filesystem>
#include <fstream>
#include <limits>
#include <string>
#include <string_view>

namespace qf::native {

namespace {

/// What the kernel tells of a process or thread by a name that proc_pid_status(5) has.
pid_t statusNumber(const std::filesystem::path& directory, std::string_view name) {
    std::ifstream status(directory / "status");
    for (std::string word; std::getline(status, word, '\t');) {
        pid_t number = 0;
        if (word == name) {
            return status >> number ? number : 0;
        }
        status.ignore(std::numeric_limits<std::streamsize>::max(), '\n');
    }
    return 0;
}

} // namespace

pid_t parentOf(pid_t process) {
    return statusNumber("/proc/" + std::to_string(process), "PPid:");
}

pid_t tracerOfThisProcess() {
    std::error_code error;
    for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task", error)) {
        if (const pid_t tracer = statusNumber(thread.path(), "TracerPid:"); tracer != 0) {
            return tracer;
        }
    }
    return 0;
}

} // namespace qf::native
