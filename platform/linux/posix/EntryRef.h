#pragma once

#include <string>

namespace qf::native {

/// An entry of an open directory, or a name there that may be free. Owns neither: the directory and
/// the name must outlive it.
struct EntryRef {
    int directory;
    const std::string& name;
};

} // namespace qf::native
