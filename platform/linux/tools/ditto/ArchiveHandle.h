#pragma once

#include "platform/linux/tools/Tool.h"

#include <archive.h>
#include <archive_entry.h>

#include <memory>
#include <string>

namespace qf::native::ditto {

struct FreeArchive {
    void operator()(archive* handle) const { archive_free(handle); }
};

/// Owns one of libarchive's readers or writers.
using ArchiveHandle = std::unique_ptr<archive, FreeArchive>;

/// Returns libarchive's description of its last failure.
inline std::string failureOf(archive* handle) {
    const char* text = archive_error_string(handle);
    return text != nullptr ? text : "unknown failure";
}

/// Throws ToolError with libarchive's description, preceded by `about`, unless `result` is a
/// success. A warning is a failure.
inline void check(int result, archive* handle, const std::string& about) {
    if (result != ARCHIVE_OK) {
        throw tool::ToolError(about + ": " + failureOf(handle));
    }
}

} // namespace qf::native::ditto
