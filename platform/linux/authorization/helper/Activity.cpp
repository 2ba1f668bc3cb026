#include "platform/linux/authorization/helper/Activity.h"

#include "platform/linux/posix/FileDescriptor.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <string_view>

namespace qf::native::helper {

namespace {

/// What a kernel says that does not count.
constexpr std::string_view uncounted = "0 0 0\n";

/// Returns the beginning of a file of the kernel's; empty if there is no such file.
std::string beginningOf(const std::string& path) {
    const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    std::array<char, 256> text{};
    const ssize_t size = file ? ::read(file.get(), text.data(), text.size()) : 0;
    return {text.data(), size > 0 ? static_cast<std::size_t>(size) : 0};
}

/// How long a process has run and waited for a processor, and how often it got one.
std::string scheduleOf(const std::string& process) {
    return beginningOf("/proc/" + process + "/schedstat");
}

} // namespace

std::string activityOf(pid_t process) {
    const std::string number = std::to_string(process);
    std::string activity = scheduleOf(number);
    if (activity == uncounted) {
        return {};
    }
    const std::string children = beginningOf("/proc/" + number + "/task/" + number + "/children");
    std::size_t begin = 0;
    for (std::size_t end = 0; (end = children.find(' ', begin)) != std::string::npos;) {
        activity += scheduleOf(children.substr(begin, end - begin));
        begin = end + 1;
    }
    return activity;
}

bool haveHung(std::span<const Activities> processes) {
    return !processes.empty() && std::ranges::all_of(processes, [](const Activities& process) {
        return !process.before.empty() && process.now == process.before;
    });
}

} // namespace qf::native::helper
