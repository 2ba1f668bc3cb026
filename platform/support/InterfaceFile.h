#pragma once

#include <string>

namespace qf {

/// The text of an interface file, which both user interfaces can read: a Qt Designer file.
struct InterfaceFile {
    /// What messages call it.
    std::string name;
    std::string text;
};

} // namespace qf
