// Tools that use the terminal of the program that runs them.

#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <poll.h>
#include <pty.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

/// What is typed once a text is shown; at once if the text is empty.
struct Typing {
    std::string shown;
    std::string typed;
};

void type(int terminal, const std::string& text) {
    EXPECT_EQ(::write(terminal, text.data(), text.size()), static_cast<ssize_t>(text.size()));
}

/// Returns what a run of task_child shows on its own terminal while the keys are typed. Kills it if
/// it shows nothing for a minute.
std::string shownBy(std::vector<std::string> arguments, std::vector<Typing> typing) {
    const TemporaryDirectory home;
    arguments.insert(arguments.begin(), TASK_CHILD);
    std::vector<char*> pointers;
    for (auto& argument : arguments) {
        pointers.push_back(argument.data());
    }
    pointers.push_back(nullptr);
    const auto variable = "HOME=" + home.path();
    std::array<char*, 2> environment{const_cast<char*>(variable.c_str()), nullptr};
    int terminal = -1;
    const pid_t child = ::forkpty(&terminal, nullptr, nullptr, nullptr);
    if (child == 0) {
        ::execve(TASK_CHILD, pointers.data(), environment.data());
        ::_exit(127);
    }
    std::string shown;
    std::array<char, 1024> buffer{};
    constexpr int minute = 60'000;
    pollfd waiting{terminal, POLLIN, 0};
    for (;;) {
        if (!typing.empty() && shown.find(typing.front().shown) != std::string::npos) {
            type(terminal, typing.front().typed);
            typing.erase(typing.begin());
        }
        if (::poll(&waiting, 1, minute) <= 0) {
            break;
        }
        const auto size = ::read(terminal, buffer.data(), buffer.size());
        if (size <= 0) {
            break;
        }
        shown.append(buffer.data(), static_cast<std::size_t>(size));
    }
    ::kill(child, SIGKILL);
    ::close(terminal);
    ::waitpid(child, nullptr, 0);
    return shown;
}

bool shows(const std::string& text, const std::string& line) {
    return text.find(line + "\r\n") != std::string::npos;
}

/// Returns whether the terminal has echoed a line.
bool echoes(const std::string& text, const std::string& line) {
    return shows(text, "\n" + line);
}

const std::vector<Typing> twoLines{{"", "for the tool\nfor the program\n"}};

} // namespace

TEST(TerminalTask, ReadsWhatIsTypedAndThenTheProgramDoes) {
    const auto shown = shownBy({"read line; test \"$line\" = 'for the tool'"}, twoLines);
    EXPECT_TRUE(shows(shown, "status 0, own terminal, then for the program")) << shown;
}

TEST(TerminalTask, MayChangeTheTerminal) {
    const auto shown =
        shownBy({"stty -echo && stty -a | grep -q -e -echo"}, {{"", "for the program\n"}});
    EXPECT_TRUE(shows(shown, "status 0, own terminal, then for the program")) << shown;
}

TEST(TerminalTask, GivesTheTerminalBackWhenItIsKilled) {
    const auto shown = shownBy({"read line; kill -KILL $$"}, twoLines);
    EXPECT_TRUE(shows(shown, "status 9, own terminal, then for the program")) << shown;
}

TEST(TerminalTask, GivesTheTerminalBackWhenItsTimeIsUp) {
    const auto shown = shownBy({"read line; read line", "1"},
                               {{"", "for the tool\n"}, {"over", "for the program\n"}});
    EXPECT_TRUE(shows(shown, "status 15, own terminal, then for the program")) << shown;
}

TEST(TerminalTask, LeavesTheTerminalAsItWasWhenItIsKilled) {
    const auto shown = shownBy({"stty raw -echo; kill -KILL $$"}, {{"over", "for the program\n"}});
    EXPECT_TRUE(echoes(shown, "for the program")) << shown;
    EXPECT_TRUE(shows(shown, "status 9, own terminal, then for the program")) << shown;
}

TEST(TerminalTask, LeavesTheTerminalAsItWasWhenItsTimeIsUp) {
    const auto shown =
        shownBy({"stty raw -echo; read line; read line", "1"}, {{"over", "for the program\n"}});
    EXPECT_TRUE(shows(shown, "status 15, own terminal, then for the program")) << shown;
    EXPECT_TRUE(echoes(shown, "for the program")) << shown;
}

TEST(TerminalTask, EndsByItsTimeThoughAnotherHasTheTerminal) {
    const auto shown = shownBy({"read line", "1", "stty sane; : > $HOME/begun; read line"},
                               {{"over", "for the tool\nfor the program\n"}});
    EXPECT_TRUE(shows(shown, "status 15, own terminal, then for the program")) << shown;
}

TEST(TerminalTask, MayLeaveTheTerminalChangedWhenItEndsByItself) {
    const auto shown = shownBy({"stty -echo"}, {{"over", "for the program\n"}});
    EXPECT_TRUE(shows(shown, "status 0, own terminal, then for the program")) << shown;
    EXPECT_FALSE(echoes(shown, "for the program")) << shown;
}

TEST(TerminalTask, HasNoTerminalWhileItDoesNotUseIt) {
    const auto shown =
        shownBy({"set -- $(cat /proc/$$/stat); test $8 != $$"}, {{"", "for the program\n"}});
    EXPECT_TRUE(shows(shown, "status 0, own terminal, then for the program")) << shown;
}
