#pragma once

#include "platform/FileStreams.h"

namespace platform::native {

/// Files through the system calls. A file that is read is announced to the system as read from its
/// start to its end, and room for a large one that is written is found ahead of the writing.
class FileStreams : public platform::FileStreams {
public:
    std::unique_ptr<FileStream> openForReading(const std::string& path) override;
    std::unique_ptr<FileStream> openForUpdating(const std::string& path, const FileId& spared,
                                                std::uint64_t expectedSize) override;
};

} // namespace platform::native
