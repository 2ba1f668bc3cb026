#pragma once

#include "platform/Console.h"

#include <string>
#include <string_view>

namespace qf::terminal {

/// The text that the user reads on standard output, in the character set of the terminal. Main
/// thread only.
class Screen {
public:
    /// `console` must outlive this. A quiet screen shows nothing.
    Screen(qf::Console& console, bool isQuiet) : console_(console), isQuiet_(isQuiet) {}

    /// Returns whether standard output is a terminal.
    static bool isTerminal();

    /// Writes a text of one or several lines, wrapped between words at the terminal's width.
    /// Control characters are made visible.
    void paragraph(std::string_view text);

    /// Writes one line without wrapping it, such as one with a path.
    void line(std::string_view text);

    /// Writes an empty line.
    void gap();

    /// Writes a question, wrapped like a paragraph, and leaves the cursor after it.
    void prompt(std::string_view text);

    /// Shows a text in place of the former one, shortened to one line of the terminal, until
    /// clearStatus() is called or something else is written. One that a narrower terminal has
    /// wrapped is erased whole.
    void setStatus(std::string_view text);
    void clearStatus();

private:
    void write(std::string_view text);
    void eraseWrappedStatus();

    qf::Console& console_;
    const bool isQuiet_;
    std::size_t statusLength_ = 0;
};

/// Returns the text wrapped between words into lines of at most `columns` characters; a longer word
/// stays whole. All lines are indented by the spaces that the text begins with.
std::string wrapped(std::string_view text, std::size_t columns);

/// Returns UTF-8 text in the character set of the user's locale. Missing characters are replaced by
/// the closest ones.
std::string inUsersCharacters(std::string_view text);

/// Returns the width of the terminal in characters, 80 if unknown.
std::size_t terminalColumns();

} // namespace qf::terminal
