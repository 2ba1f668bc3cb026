#pragma once

#include "platform/linux/files/CopyFingerprints.h"
#include "platform/linux/posix/Errno.h"
#include "platform/linux/posix/FileDescriptor.h"

#include <string>

namespace platform::native {

/// What a copy is for.
enum class CopyPurpose {
    keepBoth,
    /// The source is to be removed afterwards. So all that is copied is compared, and an item that
    /// others change, or that could not be removed, is refused.
    replaceSource,
};

/// Copies the entry `name` of the open directory `source` with all that is in it, but for an entry
/// of another kind than a file or directory into `top`: an item of the same kind, empty, open for
/// reading and writing. Links stay links and hard links among the files stay that; owners, modes,
/// times and extended attributes are kept as copyMetadata() says.
///
/// Every step goes through the descriptor of a directory, so that a link that others put in a
/// directory's place leads nowhere. The number of open descriptors is bounded, whatever the depth.
/// The first failure ends the work; what has been copied stays. With replaceSource, `copied` is
/// filled.
EntryResult<void> copyTree(int source, const std::string& name, const FileDescriptor& top,
                           CopyPurpose purpose, CopyFingerprints& copied);

} // namespace platform::native
