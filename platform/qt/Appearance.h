#pragma once

class QLabel;

/// How texts and icons look, in terms of the system's font and palette. Main thread only.
namespace platform::qt {

/// A window's heading: bold and larger than text.
void styleAsTitle(QLabel& label);

/// The bold message of an alert.
void styleAsMessage(QLabel& label);

/// A remark: smaller and dimmed.
void styleAsNote(QLabel& label);

/// As styleAsNote, set in so that it lines up with the text of a checkbox above it.
void styleAsCheckBoxNote(QLabel& label);

/// The application's own icon, 64 pixels wide at 100 %.
void styleAsApplicationIcon(QLabel& label);

} // namespace platform::qt
