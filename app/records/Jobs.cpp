#include "app/records/Jobs.h"

#include "platform/foundation/Path.h"
#include "util/paths/QFLocalPaths.h"
#include "util/task/QFTaskEx.h"

#include <sstream>

namespace records {

namespace {

constexpr const char* launchctl = "/bin/launchctl";
constexpr platform::Timeout toolTimeout{10};

} // namespace

std::optional<std::string> jobFile(const std::string& label) {
    const auto library = QFLocalPaths::libraryDirectory(Domain::user);
    return library ? std::optional(
                         platform::path::appending(*library, "LaunchAgents/" + label + ".plist"))
                   : std::nullopt;
}

std::set<std::string> LaunchdJobs::loaded() {
    std::set<std::string> labels;
    std::istringstream lines(
        QFTaskEx::stringFromTask(launchctl, {"list"}, toolTimeout).value_or(std::string()));
    for (std::string line; std::getline(lines, line);) {
        labels.insert(line.substr(line.rfind('\t') + 1));
    }
    return labels;
}

void LaunchdJobs::load(const std::string& file) {
    QFTaskEx::runTask(launchctl, {"load", file}, toolTimeout);
}

} // namespace records
