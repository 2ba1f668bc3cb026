#include "util/log/LogLocation.h"

#include "platform/Services.h"
#include "platform/UserAccount.h"
#include "platform/foundation/Format.h"
#include "util/paths/QFLocalPaths.h"

namespace qf::log_location {

namespace {

constexpr std::string_view directoryInLibrary = "/Logs/Quillfen";

std::optional<std::string> directory(Domain domain) {
    auto path = QFLocalPaths::libraryDirectory(domain);
    if (path) {
        *path += directoryInLibrary;
    }
    return path;
}

} // namespace

std::optional<std::string> userDirectory() {
    return directory(Domain::user);
}

std::string numberedLog(std::string_view directory, std::string_view name, int number) {
    return format("%@/%@.%li.log", directory, name, number);
}

std::optional<std::string> currentLog(std::string_view name) {
    const bool superuser = service<UserAccount>().realUserId() == 0;
    const auto path = directory(superuser ? Domain::local : Domain::user);
    if (!path) {
        return {};
    }
    return numberedLog(*path, name, newest);
}

} // namespace qf::log_location
