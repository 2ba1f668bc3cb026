#pragma once

#include "platform/FileStreams.h"

namespace qf::native {

/// File streams on the system calls. The kernel is advised that a file opened for reading is read
/// sequentially, and space for a large file is allocated before it is written.
class FileStreams : public qf::FileStreams {
public:
    OpenedStream openForReading(const std::string& path) override;
    OpenedStream openForUpdating(const std::string& path, const FileId& spared,
                                 std::uint64_t expectedSize) override;
    OpenedStream openBeside(const std::string& path, const FileId& spared,
                            std::uint64_t expectedSize) override;
    OpenedStream openExisting(const std::string& path, FileAccess access) override;
};

} // namespace qf::native
