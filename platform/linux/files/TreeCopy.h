#pragma once

#include "platform/linux/files/CopyFingerprints.h"
#include "platform/linux/posix/Errno.h"
#include "platform/linux/posix/FileDescriptor.h"

#include <string>

namespace qf::native {

/// The purpose of a copy.
enum class CopyPurpose {
    keepBoth,
    /// The source is to be removed afterwards. Therefore the copy is compared, and an item that
    /// others change, or that could not be removed, is refused.
    replaceSource,
};

/// Copies the contents of the entry `name` of the open directory `source`, a file or a directory,
/// into `top`: an empty item of the same kind, open for reading and writing. Links, and hard links
/// among the files, are preserved; owners, modes, times and extended attributes are copied by
/// copyMetadata().
///
/// Every step uses the descriptor of a directory, so that a link that others put in a directory's
/// place is not followed. The number of open descriptors is bounded, whatever the depth. Stops at
/// the first failure, leaving what has been copied. With replaceSource, fills `copied`.
EntryResult<void> copyTree(int source, const std::string& name, const FileDescriptor& top,
                           CopyPurpose purpose, CopyFingerprints& copied);

} // namespace qf::native
