#pragma once

#include <string>
#include <vector>

namespace platform::terminal {

/// A label, checkbox, button or progress bar of a window, as the interface file describes it.
struct Control {
    enum class Kind { label, checkBox, button, progressBar };
    Kind kind = Kind::label;
    std::string name;
    /// Without the mark of the letter that is underlined.
    std::string text;
    /// What pressing a button performs.
    std::string action;
    /// How a label is shown: "title", "note", "checkBoxNote", or plain.
    std::string textStyle;
};

/// A window of the interface file, with its controls in the order in which they are read.
struct WindowDescription {
    std::string name;
    /// What closing it performs; empty when it cannot be closed.
    std::string closeAction;
    std::vector<Control> controls;
};

/// The windows that an interface file describes: those that a desktop shows for it. Throws
/// platform::Exception "QFInterfaceUnreadable", whose reason names the file and says why, when it
/// is missing or no interface file.
std::vector<WindowDescription> readInterfaceFile(const std::string& file);

} // namespace platform::terminal
