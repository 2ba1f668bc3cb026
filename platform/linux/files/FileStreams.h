#pragma once

#include "platform/FileStreams.h"

namespace platform::native {

/// File streams on the system calls. The kernel is advised that a file opened for reading is read
/// sequentially, and space for a large file is allocated before it is written.
class FileStreams : public platform::FileStreams {
public:
    std::unique_ptr<FileStream> openForReading(const std::string& path) override;
    std::unique_ptr<FileStream> openForUpdating(const std::string& path, const FileId& spared,
                                                std::uint64_t expectedSize) override;
    std::unique_ptr<FileStream> openBeside(const std::string& path, const FileId& spared,
                                           std::uint64_t expectedSize) override;
    Result<std::unique_ptr<FileStream>, SystemError> openExisting(const std::string& path,
                                                                  FileAccess access) override;
};

} // namespace platform::native
