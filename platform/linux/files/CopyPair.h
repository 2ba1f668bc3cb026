#pragma once

namespace qf::native {

/// The descriptors of an open item and of its copy, which is open for writing or a directory.
struct CopyPair {
    int source;
    int copy;
};

} // namespace qf::native
