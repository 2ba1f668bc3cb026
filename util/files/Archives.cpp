#include "util/files/QFFileManager.h"

#include "platform/foundation/Format.h"
#include "util/files/Failures.h"
#include "util/files/Recycle.h"
#include "util/task/QFTaskEx.h"

#include <string_view>

namespace {

constexpr const char* ditto = "/usr/bin/ditto";
constexpr std::string_view endedWithStatus = "%@ ended with status %i.";

/// Runs the tool, whose status is the reason if what it was to make does not exist afterwards.
qf::Result<void> runDitto(const std::vector<std::string>& arguments, const std::string& made) {
    qf::TaskSlot tool;
    auto run = QFTaskEx::runTaskWithResult(ditto, arguments, tool);
    if (QFFileManager::fileExistsAtPath(made)) {
        return {};
    }
    if (!run) {
        return run;
    }
    const int status = tool.get()->terminationStatus();
    return qf::fileFailure(qf::format(endedWithStatus, ditto, status), status);
}

} // namespace

bool QFFileManager::compressFile(const std::string& path, const std::string& toDestinationFile) {
    return compressFile(path, toDestinationFile, qf::IncludeParent::yes);
}

bool QFFileManager::compressFile(const std::string& path, const std::string& toDestinationFile,
                                 qf::IncludeParent includeParent) {
    return compressFileWithResult(path, toDestinationFile, includeParent).ok();
}

qf::Result<void> QFFileManager::compressFileWithResult(const std::string& path,
                                                       const std::string& toDestinationFile,
                                                       qf::IncludeParent includeParent) {
    if (fileExistsAtPath(toDestinationFile)) {
        trashFile(toDestinationFile);
    }
    std::vector<std::string> arguments{"-ck", path, toDestinationFile};
    if (includeParent == qf::IncludeParent::yes) {
        arguments.insert(arguments.begin() + 1, "--keepParent");
    }
    return runDitto(arguments, toDestinationFile);
}

bool QFFileManager::decompressFile(const std::string& path,
                                   const std::string& toDestinationFolder) {
    return decompressFileWithResult(path, toDestinationFolder).ok();
}

qf::Result<void> QFFileManager::decompressFileWithResult(const std::string& path,
                                                         const std::string& toDestinationFolder) {
    if (fileExistsAtPath(toDestinationFolder)) {
        static_cast<void>(qf::recycle(toDestinationFolder));
    }
    return runDitto({"-xk", path, toDestinationFolder}, toDestinationFolder);
}
