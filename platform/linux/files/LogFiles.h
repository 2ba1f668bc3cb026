#pragma once

#include "platform/LogFiles.h"

namespace qf::native {

/// Log files on the system calls.
class LogFiles : public qf::LogFiles {
public:
    bool exists(const std::string& path) override;
    Result<void> createDirectory(const std::string& path) override;
    Result<void> removeLog(const std::string& path) override;
    Result<void> renameLog(const std::string& path, const std::string& newPath) override;
    Result<void> setAside(const std::string& path, const std::string& newPath) override;
    Result<void> createEmptyFile(const std::string& path) override;
    std::shared_ptr<LogFile> open(const std::string& path) override;
    std::unique_ptr<LogLock> lock(const std::vector<std::string>& directories) override;
};

} // namespace qf::native
