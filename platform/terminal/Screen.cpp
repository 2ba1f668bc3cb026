#include "platform/terminal/Screen.h"

#include "platform/foundation/Text.h"

#include <iconv.h>
#include <langinfo.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <clocale>
#include <cstdint>
#include <sstream>

namespace qf::terminal {

namespace {

constexpr std::size_t usualColumns = 80;
constexpr std::size_t fewestColumns = 10;

/// Returns the name of the character set of the user's locale.
std::string usersCharacterSet() {
    // The C library's substitutes for missing characters depend on the current locale.
    static const char* const locale = std::setlocale(LC_CTYPE, "");
    return locale == nullptr ? "ANSI_X3.4-1968" : ::nl_langinfo(CODESET);
}

/// Returns text converted by iconv; a character without a substitute becomes "?".
std::string converted(iconv_t converter, std::string text) {
    std::string result;
    char* in = text.data();
    std::size_t left = text.size();
    while (left > 0) {
        std::array<char, 256> buffer{};
        char* out = buffer.data();
        std::size_t room = buffer.size();
        const bool failed = ::iconv(converter, &in, &left, &out, &room) == static_cast<size_t>(-1);
        result.append(buffer.data(), buffer.size() - room);
        if (failed && errno != E2BIG) {
            const auto length = text::firstCharacter({in, left}).length;
            in += length;
            left -= length;
            result += '?';
        }
    }
    return result;
}

/// Appends a line, wrapped; the resulting lines are indented as it is itself.
void appendWrapped(std::string& result, const std::string& line, std::size_t columns) {
    const std::string indentation(std::min(line.find_first_not_of(' '), line.size()), ' ');
    std::istringstream words(line);
    std::string word;
    std::size_t used = 0;
    while (words >> word) {
        const auto length = text::characterCount(word);
        const bool fits = used == 0 || used + 1 + length <= columns;
        if (used == 0 || !fits) {
            result += fits ? indentation : "\n" + indentation;
            used = indentation.size();
        } else {
            result += ' ';
            ++used;
        }
        result += word;
        used += length;
    }
}

/// Returns the lines of a text, each safe to display.
std::string printableLines(std::string_view text) {
    std::istringstream lines{std::string(text)};
    std::string result;
    std::string line;
    while (std::getline(lines, line)) {
        result += (result.empty() ? "" : "\n") + text::printable(line);
    }
    return result;
}

} // namespace

std::string wrapped(std::string_view text, std::size_t columns) {
    std::istringstream lines{std::string(text)};
    std::string result;
    std::string line;
    bool isFirst = true;
    while (std::getline(lines, line)) {
        result += isFirst ? "" : "\n";
        isFirst = false;
        appendWrapped(result, line, columns);
    }
    return result;
}

std::string inUsersCharacters(std::string_view text) {
    const auto set = usersCharacterSet();
    if (set == "UTF-8") {
        return std::string(text);
    }
    const auto converter = ::iconv_open((set + "//TRANSLIT").c_str(), "UTF-8");
    if (reinterpret_cast<std::intptr_t>(converter) == -1) {
        return std::string(text);
    }
    auto result = converted(converter, std::string(text));
    ::iconv_close(converter);
    return result;
}

std::size_t terminalColumns() {
    winsize size{};
    if (::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) {
        return usualColumns;
    }
    return std::max<std::size_t>(size.ws_col, fewestColumns);
}

bool Screen::isTerminal() {
    return ::isatty(STDOUT_FILENO) == 1;
}

void Screen::write(std::string_view text) {
    if (!isQuiet_) {
        console_.print(inUsersCharacters(text));
    }
}

void Screen::paragraph(std::string_view text) {
    clearStatus();
    const auto shown = printableLines(text);
    write((isTerminal() ? wrapped(shown, terminalColumns()) : shown) + '\n');
}

void Screen::line(std::string_view text) {
    clearStatus();
    write(text::printable(text) + '\n');
}

void Screen::gap() {
    clearStatus();
    write("\n");
}

void Screen::prompt(std::string_view text) {
    clearStatus();
    const auto shown = printableLines(text);
    // The answer begins on the prompt's last line, so leave room for it.
    write((isTerminal() ? wrapped(shown, terminalColumns() - 2) : shown) + ' ');
}

void Screen::setStatus(std::string_view text) {
    if (!isTerminal()) {
        return;
    }
    const auto columns = terminalColumns();
    if (statusLength_ >= columns) {
        clearStatus();
    }
    const auto shown = text::prefix(text, columns - 1);
    const auto length = text::characterCount(shown);
    const auto surplus = statusLength_ > length ? statusLength_ - length : 0;
    write("\r" + std::string(shown) + std::string(surplus, ' '));
    statusLength_ = length;
}

void Screen::clearStatus() {
    if (statusLength_ >= terminalColumns()) {
        eraseWrappedStatus();
    } else if (statusLength_ > 0) {
        write("\r" + std::string(statusLength_, ' ') + "\r");
    }
    statusLength_ = 0;
}

/// The terminal has become narrower since, and shows the status in several lines, of which the
/// cursor is in the last. The console would not let such sequences through.
void Screen::eraseWrappedStatus() {
    constexpr std::string_view eraseLine = "\r\x1b[K";
    constexpr std::string_view lineUp = "\x1b[A";
    std::string sequence(eraseLine);
    for (auto rest = statusLength_ - 1; rest >= terminalColumns(); rest -= terminalColumns()) {
        sequence.append(lineUp).append(eraseLine);
    }
    // A terminal that takes nothing more shows nothing that is broken.
    [[maybe_unused]] const auto written = ::write(STDOUT_FILENO, sequence.data(), sequence.size());
}

} // namespace qf::terminal
