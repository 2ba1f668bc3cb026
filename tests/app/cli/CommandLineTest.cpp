#include "app/cli/CommandLine.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

using cli::Options;
using cli::parseCommandLine;

namespace {

std::variant<Options, int> parse(std::vector<std::string> words) {
    words.insert(words.begin(), "program");
    std::vector<char*> arguments;
    for (auto& word : words) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    return parseCommandLine(static_cast<int>(words.size()), arguments.data(), "1.2.3");
}

Options optionsOf(const std::vector<std::string>& words) {
    return std::get<Options>(parse(words));
}

std::string outputOf(const std::vector<std::string>& words) {
    ::testing::internal::CaptureStdout();
    static_cast<void>(parse(words));
    return ::testing::internal::GetCapturedStdout();
}

/// Returns a text with a space for each gap between two words.
std::string inOneLine(const std::string& text) {
    std::istringstream words(text);
    std::string line;
    for (std::string word; words >> word;) {
        line += word + ' ';
    }
    return line;
}

int statusOf(const std::vector<std::string>& words) {
    ::testing::internal::CaptureStdout();
    ::testing::internal::CaptureStderr();
    const int status = std::get<int>(parse(words));
    ::testing::internal::GetCapturedStdout();
    ::testing::internal::GetCapturedStderr();
    return status;
}

TEST(CommandLine, SaysNothingWithoutOptions) {
    const auto options = optionsOf({});
    EXPECT_FALSE(options.uninstall || options.removeShared || options.quiet || options.terminal ||
                 options.list || options.json || options.report);
}

TEST(CommandLine, KnowsEveryOption) {
    const auto silent =
        optionsOf({"--uninstall", "--quiet", "--remove-shared", "--report", "/a b\xFF"});
    EXPECT_TRUE(silent.uninstall && silent.quiet && silent.removeShared);
    EXPECT_EQ(silent.report, "/a b\xFF");
    EXPECT_FALSE(silent.terminal || silent.list || silent.json);

    const auto list = optionsOf({"--json", "--list", "--remove-shared"});
    EXPECT_TRUE(list.list && list.json && list.removeShared);

    const auto terminal = optionsOf({"--terminal", "--remove-shared", "--report=r"});
    EXPECT_TRUE(terminal.terminal && terminal.removeShared);
    EXPECT_EQ(terminal.report, "r");
}

TEST(CommandLine, KnowsHowToUndo) {
    const auto last = optionsOf({"--put-back", "--list", "--json"});
    EXPECT_TRUE(last.putBack && last.list && last.json && !last.run);

    const auto one = optionsOf({"--put-back", "17", "--report", "r", "--quiet"});
    EXPECT_TRUE(one.putBack && one.quiet);
    EXPECT_EQ(one.run, 17U);

    const auto emptied = optionsOf({"--empty", "3", "--yes"});
    EXPECT_TRUE(emptied.empty && emptied.yes && !emptied.putBack);
    EXPECT_EQ(emptied.run, 3U);

    EXPECT_TRUE(optionsOf({"--uninstall", "--empty", "--quiet"}).empty);
    EXPECT_TRUE(optionsOf({"--list-runs", "--json"}).listRuns);
    EXPECT_TRUE(optionsOf({"--show-last"}).showLast);
}

TEST(CommandLine, KnowsHowToUninstallForAllUsers) {
    const auto options =
        optionsOf({"--uninstall", "--all-users", "--empty", "--remove-shared", "--quiet"});
    EXPECT_TRUE(options.uninstall && options.allUsers);

    EXPECT_EQ(cli::optionsForAccount(options),
              (std::vector<std::string>{"--uninstall", "--quiet", "--report", "-",
                                        "--remove-shared", "--empty"}));
    EXPECT_EQ(cli::optionsForAccount(optionsOf({"--uninstall", "--all-users", "--report", "r"})),
              (std::vector<std::string>{"--uninstall", "--quiet", "--report", "-"}));
}

TEST(CommandLine, MakesOptionsForAnAccountThatItKnows) {
    const auto options = optionsOf(cli::optionsForAccount(optionsOf({"--uninstall"})));
    EXPECT_TRUE(options.uninstall && options.quiet);
    EXPECT_EQ(options.report, cli::standardOutput);
}

class WrongCommandLine : public testing::TestWithParam<std::vector<std::string>> {};

TEST_P(WrongCommandLine, IsRefused) {
    EXPECT_EQ(statusOf(GetParam()), 2);
}

INSTANTIATE_TEST_SUITE_P(WrongOrContradictory, WrongCommandLine,
                         testing::ValuesIn(std::vector<std::vector<std::string>>{
                             {"--bogus"},
                             {"word"},
                             {"-q"},
                             {"--json"},
                             {"--quiet"},
                             {"--remove-shared"},
                             {"--report", "r"},
                             {"--uninstall", "--report"},
                             {"--uninstall", "--report", ""},
                             {"--uninstall", "--report", "a", "--report", "b"},
                             {"--uninstall", "--report", "-"},
                             {"--all-users"},
                             {"--all-users", "--list"},
                             {"--all-users", "--put-back"},
                             {"--uninstall", "--list"},
                             {"--uninstall", "--terminal"},
                             {"--uninstall", "--json"},
                             {"--terminal", "--list"},
                             {"--terminal", "--quiet"},
                             {"--list", "--report", "r"},
                             {"--put-back", "word"},
                             {"--put-back", "0"},
                             {"--put-back", "--uninstall"},
                             {"--put-back", "--terminal"},
                             {"--put-back", "--empty"},
                             {"--put-back", "--remove-shared"},
                             {"--put-back", "--list", "--remove-shared"},
                             {"--put-back", "--list-runs"},
                             {"--put-back", "--json"},
                             {"--put-back", "--yes"},
                             {"--window"},
                             {"--uninstall", "--window"},
                             {"--put-back", "3", "--window"},
                             {"--put-back", "--window", "--quiet"},
                             {"--put-back", "--window", "--report", "file"},
                             {"--put-back", "--window", "--list"},
                             {"--uninstall", "--empty", "3"},
                             {"--empty", "--list"},
                             {"--empty", "--quiet"},
                             {"--empty", "--terminal"},
                             {"--yes"},
                             {"--list-runs", "--show-last"},
                             {"--list-runs", "--report", "r"},
                             {"--show-last", "--list"},
                             {"--list", "--quiet"}}));

TEST(CommandLine, EndsAfterHelpAndVersion) {
    EXPECT_EQ(statusOf({"--help"}), 0);
    EXPECT_EQ(statusOf({"--version"}), 0);
    EXPECT_EQ(statusOf({"--help", "--uninstall"}), 0);
}

TEST(CommandLine, TellsItsVersion) {
    EXPECT_EQ(outputOf({"--version"}), "kelvane-uninstaller 1.2.3\n");
}

TEST(CommandLine, SaysWhatEachOptionDoes) {
    const auto help = outputOf({"--help"});
    for (const char* explained :
         {"--help Print this text. ", "--version Print the version. ",
          "--uninstall Uninstall without a question. ",
          "--remove-shared Also remove items shared by all Quillfen products. ",
          "--all-users With --uninstall, for root: also in the home folder of every account, with "
          "that account's rights. ",
          "--quiet With --uninstall, --put-back or --yes: print nothing, ask for no password. ",
          "--terminal Ask on the terminal even where there is a display. ",
          "--list Print what would be moved; change nothing. ",
          "--json With --list, --list-runs or --show-last: print JSON. ",
          "--report FILE With --uninstall, --terminal, --put-back or --empty: write to FILE, as "
          "JSON, what became of every item. With --quiet, - is standard output. ",
          "--put-back [RUN] Put back what the last uninstall, or a RUN, took away. With --list: "
          "print what would come back. ",
          "--window With --put-back: show it in a window. ",
          "--empty [RUN] Delete for good what the last uninstall, or a RUN, moved to the Trash. "
          "With --uninstall: afterwards. ",
          "--yes With --empty: do not ask. ", "--list-runs Print the runs that are recorded. ",
          "--show-last Print what the last run did. "}) {
        EXPECT_NE(inOneLine(help).find(explained), std::string::npos) << explained;
    }
}

TEST(CommandLine, ExplainsItsOptionsBeginningWithThoseThatChangeNothing) {
    const auto help = outputOf({"--help"});

    EXPECT_LT(help.find("--help "), help.find("--version "));
    EXPECT_LT(help.find("--version "), help.find("--uninstall "));
    EXPECT_NE(help.find("--report FILE "), std::string::npos) << help;
}

TEST(CommandLine, ExplainsEachOptionOfUndoingAfterWhatItGoesWith) {
    const auto help = outputOf({"--help"});
    std::vector<std::size_t> places;
    for (const char* option : {"  --put-back ", "  --window ", "  --empty ", "  --yes ",
                               "  --list-runs ", "  --show-last "}) {
        places.push_back(help.find(option));
    }
    EXPECT_TRUE(std::ranges::is_sorted(places)) << help;
    EXPECT_NE(places.back(), std::string::npos);
}

TEST(CommandLine, ExplainsAllOptionsInOneColumn) {
    const auto help = outputOf({"--help"});
    const auto columnOf = [&](std::string_view text) {
        const auto place = help.find(text);
        return place - help.rfind('\n', place);
    };
    EXPECT_EQ(columnOf("Print this text."), columnOf("Print the version."));
    EXPECT_EQ(columnOf("Print this text."), columnOf("Print the runs that are recorded."));
    EXPECT_EQ(columnOf("Print this text."), columnOf("away. With --list"));
}

} // namespace
