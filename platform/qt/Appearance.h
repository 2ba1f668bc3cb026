#pragma once

class QCheckBox;
class QLabel;

/// Styles of texts and icons, based on the system's font and palette. Main thread only.
namespace qf::qt {

/// Styles a window's heading: bold and larger than text.
void styleAsTitle(QLabel& label);

/// Styles the bold message of an alert.
void styleAsMessage(QLabel& label);

/// Styles a remark: smaller and dimmed.
void styleAsNote(QLabel& label);

/// Like styleAsNote, indented to line up with the text of a checkbox above it.
void styleAsCheckBoxNote(QLabel& label);

/// Outlines the box of a checkbox, which Qt's own style draws without contrast on dark desktops.
void outline(QCheckBox& box);

/// Shows the application's own icon, 64 pixels wide at 100 %.
void styleAsApplicationIcon(QLabel& label);

} // namespace qf::qt
