#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

/// Text in the syntax of systemd's unit files: systemd.syntax(7), the quoting and the command lines
/// of systemd.service(5), the specifiers of systemd.unit(5). Every function throws Unfit for text
/// that the syntax cannot express or the service manager would not take.
namespace platform::native::launchctl {

/// Why a value cannot stand in a unit: a text that follows the name of what holds the value.
class Unfit : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// `text` as the first part of a unit's name, as systemd-escape(1) makes it.
std::string escapedForUnitName(std::string_view text);

/// `text` without a meaning for specifiers: "%" doubled. One line of plain text.
std::string escapedSpecifiers(std::string_view text);

/// `text` as one word in double quotes, of any characters.
std::string quotedWord(std::string_view text);

/// The same, for an argument of a command, where "$" is doubled too.
std::string quotedArgument(std::string_view text);

/// The path of a program, quoted, for the first word of a command: "$" means nothing there, and
/// systemd takes no quotes and backslashes. A simple name is looked for in the service manager's
/// directories of programs.
std::string programWord(std::string_view path);

/// An absolute path as the whole of a setting. There is no quoting there, and so no path that ends
/// with a space or a backslash.
std::string plainPath(std::string_view path);

} // namespace platform::native::launchctl
