#include "util/files/QFFileManager.h"

#include "util/files/Recycle.h"
#include "util/task/QFTaskEx.h"

namespace {

constexpr const char* ditto = "/usr/bin/ditto";

} // namespace

bool QFFileManager::compressFile(const std::string& path, const std::string& toDestinationFile) {
    return compressFile(path, toDestinationFile, IncludeParent::yes);
}

bool QFFileManager::compressFile(const std::string& path, const std::string& toDestinationFile,
                                 IncludeParent includeParent) {
    if (fileExistsAtPath(toDestinationFile)) {
        trashFile(toDestinationFile);
    }
    std::vector<std::string> arguments{"-ck", path, toDestinationFile};
    if (includeParent == IncludeParent::yes) {
        arguments.insert(arguments.begin() + 1, "--keepParent");
    }
    QFTaskEx::runTask(ditto, arguments);
    return fileExistsAtPath(toDestinationFile);
}

bool QFFileManager::decompressFile(const std::string& path,
                                   const std::string& toDestinationFolder) {
    if (fileExistsAtPath(toDestinationFolder)) {
        static_cast<void>(recycle(toDestinationFolder));
    }
    QFTaskEx::runTask(ditto, {"-xk", path, toDestinationFolder});
    return fileExistsAtPath(toDestinationFolder);
}
