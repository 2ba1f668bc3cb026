#pragma once

#include "platform/support/InterfaceFile.h"

#include <string>
#include <vector>

namespace qf::terminal {

/// A label, checkbox, button or progress bar of a window, as the interface file describes it.
struct Control {
    enum class Kind { label, checkBox, button, progressBar };
    Kind kind = Kind::label;
    std::string name;
    /// Without the mark of the underlined letter.
    std::string text;
    /// The action that pressing a button performs.
    std::string action;
    /// The style of a label: "title", "note", "checkBoxNote", or plain.
    std::string textStyle;
};

/// A window of the interface file, with its controls in reading order.
struct WindowDescription {
    std::string name;
    /// The action that closing it performs; empty if it cannot be closed.
    std::string closeAction;
    std::vector<Control> controls;
};

/// Returns the windows that an interface file describes: those that a desktop shows for it. Throws
/// qf::Exception "QFInterfaceUnreadable", whose reason names the file and the cause, if it is
/// not an interface file.
std::vector<WindowDescription> windowsIn(const InterfaceFile& file);

} // namespace qf::terminal
