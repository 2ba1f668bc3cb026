#pragma once

#include "platform/linux/files/FileContent.h"
#include "platform/linux/posix/Errno.h"
#include "platform/linux/posix/FileDescriptor.h"

#include <sys/stat.h>

#include <string>

namespace qf::native {

/// A file that is open to be copied, and its status then.
struct SourceFile {
    FileDescriptor descriptor;
    struct statx status {};
};

/// Copies files into new, empty ones that are open for reading and writing. Not shared between
/// threads.
class FileCopier {
public:
    /// Opens a file of an open directory. EAGAIN if it is no file, because others have put
    /// something else in its place.
    static SystemResult<SourceFile> open(int directory, const std::string& name);

    /// Copies the content, then the metadata.
    SystemResult<void> fill(const SourceFile& source, const FileDescriptor& copy);

    /// Compares a copy, and checks that the source has not changed since it was opened: EAGAIN if
    /// it has.
    SystemResult<void> check(const SourceFile& source, const FileDescriptor& copy);

private:
    FileContent content_;
};

} // namespace qf::native
