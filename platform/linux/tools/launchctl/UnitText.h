#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

/// Text in the syntax of systemd's unit files: systemd.syntax(7), the quoting and the command lines
/// of systemd.service(5), the specifiers of systemd.unit(5). Every function throws Unfit for text
/// that the syntax cannot express or the service manager would not accept.
namespace qf::native::launchctl {

/// Why a unit cannot contain a value: a text to follow the name of the setting.
class Unfit : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// Returns `text` escaped as the first part of a unit's name, as systemd-escape(1) does.
std::string escapedForUnitName(std::string_view text);

/// Returns `text`, one line of plain text, with "%" doubled, so that it contains no specifiers.
std::string escapedSpecifiers(std::string_view text);

/// Returns `text`, of any characters, as one word in double quotes.
std::string quotedWord(std::string_view text);

/// Like quotedWord(), for an argument of a command, where "$" is doubled too.
std::string quotedArgument(std::string_view text);

/// Returns the path of a program, quoted, for the first word of a command: "$" is not special
/// there, and systemd accepts no quotes and backslashes. The service manager looks up a simple name
/// in its program directories.
std::string programWord(std::string_view path);

/// Returns an absolute path as the whole value of a setting. Quoting is not possible there, so the
/// path may not end with a space or a backslash.
std::string plainPath(std::string_view path);

} // namespace qf::native::launchctl
