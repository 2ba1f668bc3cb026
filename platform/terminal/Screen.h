#pragma once

#include "platform/Console.h"

#include <string>
#include <string_view>

namespace platform::terminal {

/// What a person reads: text on standard output, in the character set of the terminal. Main thread
/// only.
class Screen {
public:
    /// `console` outlives this. A quiet screen shows nothing.
    Screen(platform::Console& console, bool isQuiet) : console_(console), isQuiet_(isQuiet) {}

    /// Whether standard output is a terminal.
    static bool isTerminal();

    /// Writes texts of one or several lines, broken between words where the terminal's lines end.
    /// Control characters are made visible.
    void paragraph(std::string_view text);

    /// Writes one line that is not broken, such as one with a path.
    void line(std::string_view text);

    /// Writes an empty line.
    void gap();

    /// Writes a question, broken like a paragraph, and leaves the cursor behind it.
    void prompt(std::string_view text);

    /// Shows a text at the place of the former one, shortened to one line of the terminal, until
    /// clearStatus(), or something else is written.
    void setStatus(std::string_view text);
    void clearStatus();

private:
    void write(std::string_view text);

    platform::Console& console_;
    const bool isQuiet_;
    std::size_t statusLength_ = 0;
};

/// The text with line ends where lines of `columns` characters end, between words; a word that is
/// longer stays whole. The lines of a text that begins with spaces begin with as many.
std::string wrapped(std::string_view text, std::size_t columns);

/// UTF-8 in the character set of the user's locale. What that lacks is replaced by what is closest.
std::string inUsersCharacters(std::string_view text);

/// The width of the terminal in characters, 80 where it does not tell.
std::size_t terminalColumns();

} // namespace platform::terminal
