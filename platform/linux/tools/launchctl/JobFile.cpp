#include "platform/linux/tools/launchctl/JobFile.h"

#include "platform/linux/plist/PropertyLists.h"
#include "platform/linux/posix/FileDescriptor.h"
#include "platform/linux/tools/Tool.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace qf::native::launchctl {

namespace {

using tool::ToolError;

bool isSafe(const struct stat& status) {
    return (status.st_uid == 0 || status.st_uid == ::geteuid()) &&
           (status.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

} // namespace

Value readJobFile(const std::string& path, MustBeSafe mustBeSafe) {
    const FileDescriptor file(::open(path.c_str(), O_PATH | O_CLOEXEC));
    struct stat status {};
    if (!file || ::fstat(file.get(), &status) != 0) {
        throw ToolError(path + ": " + std::generic_category().message(errno));
    }
    if (!S_ISREG(status.st_mode)) {
        throw ToolError(path + ": Not a regular file");
    }
    if (mustBeSafe == MustBeSafe::yes && !isSafe(status)) {
        throw ToolError(path + ": Path had bad ownership/permissions");
    }
    // Read by descriptor, so that it is the file that was checked.
    auto content = PropertyLists().read("/proc/self/fd/" + std::to_string(file.get()));
    if (content.isNone()) {
        throw ToolError(path + ": Invalid property list");
    }
    return content;
}

} // namespace qf::native::launchctl
