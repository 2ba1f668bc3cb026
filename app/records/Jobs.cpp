#include "app/records/Jobs.h"

#include "platform/foundation/Path.h"
#include "util/paths/QFLocalPaths.h"
#include "util/task/QFTaskEx.h"

#include <sstream>

namespace records {

namespace {

constexpr const char* launchctl = "/bin/launchctl";
constexpr const char* listTitles = "PID\tStatus\tLabel";
constexpr qf::Timeout toolTimeout{10};

} // namespace

std::optional<std::string> jobFile(const std::string& label) {
    const auto library = QFLocalPaths::libraryDirectory(qf::Domain::user);
    return library
               ? std::optional(qf::path::appending(*library, "LaunchAgents/" + label + ".plist"))
               : std::nullopt;
}

std::optional<std::set<std::string>> LaunchdJobs::loaded() {
    std::istringstream lines(
        QFTaskEx::stringFromTask(launchctl, {"list"}, toolTimeout).value_or(std::string()));
    std::string line;
    // Even an empty list has its titles; what failed has told an error, or nothing.
    if (!std::getline(lines, line) || line != listTitles) {
        return std::nullopt;
    }
    std::set<std::string> labels;
    while (std::getline(lines, line)) {
        labels.insert(line.substr(line.rfind('\t') + 1));
    }
    return labels;
}

void LaunchdJobs::load(const std::string& file) {
    QFTaskEx::runTask(launchctl, {"load", file}, toolTimeout);
}

} // namespace records
