#include "app/cli/CommandLine.h"

#include "app/cli/ExitStatus.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <iostream>
#include <sstream>
#include <utility>
#include <vector>

namespace cli {

namespace {

constexpr const char* description =
    "Removes Quillfen's Kelvane suite: everything is moved to the Trash.\n"
    "Without options it opens a window or, where there is no display, asks on the terminal.";

constexpr const char* emptyOption = "--empty";

constexpr std::size_t columnWidth = 18;

std::string exitStatuses() {
    std::ostringstream text;
    text << "Exit status:\n";
    for (const auto& [status, meaning] : exitStatusMeanings) {
        text << "  " << static_cast<int>(status) << "  " << meaning << '\n';
    }
    return text.str();
}

/// Leaves the rules between options to the descriptions.
class Formatter : public CLI::Formatter {
public:
    std::string make_option_opts(const CLI::Option* option) const override {
        const auto type = option->get_type_size() == 0 ? "" : option->get_type_name();
        return type.empty() ? type : " " + type;
    }
};

/// Adds an option that may name a run.
CLI::Option* addRunOption(CLI::App& app, Options& options, const std::string& name,
                          const std::string& help) {
    return app.add_option(name, options.run, help)
        ->expected(0, 1)
        ->check(CLI::Validator(CLI::PositiveNumber).description(""))
        ->type_name("[RUN]");
}

void addUndoOptions(CLI::App& app, Options& options) {
    addRunOption(app, options, putBackOption,
                 "Put back what the last uninstall, or a RUN, took\n"
                 "away. With --list: print what would come back.");
    app.add_flag("--window", options.window, "With --put-back: show it in a window.")
        ->needs(putBackOption);
    addRunOption(app, options, emptyOption,
                 "Delete for good what the last uninstall, or a RUN,\n"
                 "moved to the Trash. With --uninstall: afterwards.");
    app.add_flag("--yes", options.yes, "With --empty: do not ask.")->needs(emptyOption);
    app.add_flag("--list-runs", options.listRuns, "Print the runs that are recorded.");
    app.add_flag("--show-last", options.showLast, "Print what the last run did.");
}

void addOptions(CLI::App& app, Options& options) {
    auto* uninstall =
        app.add_flag("--uninstall", options.uninstall, "Uninstall without a question.");
    app.add_flag("--remove-shared", options.removeShared,
                 "Also remove items shared by all Quillfen products.");
    app.add_flag("--all-users", options.allUsers,
                 "With --uninstall, for root: also in the home folder\n"
                 "of every account, with that account's rights.")
        ->needs(uninstall);
    auto* quiet = app.add_flag("--quiet", options.quiet,
                               "With --uninstall, --put-back or --yes: print nothing,\n"
                               "ask for no password.");
    auto* terminal = app.add_flag(terminalOption, options.terminal,
                                  "Ask on the terminal even where there is a display.");
    auto* list = app.add_flag("--list", options.list, "Print what would be moved; change nothing.");
    app.add_flag("--json", options.json, "With --list, --list-runs or --show-last: print JSON.");
    auto* report = app.add_option("--report", options.report,
                                  "With --uninstall, --terminal, --put-back or --empty:\n"
                                  "write to FILE, as JSON, what became of every item.\n"
                                  "With --quiet, - is standard output.");
    report->type_name("FILE");
    list->excludes(uninstall)->excludes(terminal)->excludes(report)->excludes(quiet);
    terminal->excludes(uninstall)->excludes(quiet);
    addUndoOptions(app, options);
}

/// Returns the words of several options as a person would list them.
std::string oneOf(const std::vector<std::string>& names) {
    std::string text;
    for (std::size_t i = 0; i < names.size(); ++i) {
        text += (i == 0 ? "" : i + 1 < names.size() ? ", " : " or ") + names[i];
    }
    return text;
}

/// A rule that the library cannot express: an option needs one of several others.
struct Need {
    bool isGiven;
    const char* option;
    std::vector<std::pair<const char*, bool>> others;
};

void check(const Need& need) {
    const bool isMet = std::ranges::any_of(need.others, [](const auto& it) { return it.second; });
    if (need.isGiven && !isMet) {
        std::vector<std::string> names;
        for (const auto& [name, isThere] : need.others) {
            names.emplace_back(name);
        }
        throw CLI::RequiresError(need.option, oneOf(names));
    }
}

/// Checks that at most one of the options is given that say what to do, and that a window has the
/// last uninstall to itself.
void checkDeed(const Options& options) {
    const bool deletesAfterwards = options.uninstall && options.empty && !options.run;
    const int deeds = options.uninstall + options.terminal + options.putBack + options.listRuns +
                      options.showLast + (options.empty && !deletesAfterwards ? 1 : 0) +
                      (options.list && !options.putBack ? 1 : 0);
    const bool narrowsWindow = options.run || options.report || options.quiet || options.list;
    if (deeds > 1 || (options.window && narrowsWindow)) {
        throw CLI::ValidationError("options", "they contradict one another");
    }
}

void checkTogether(const Options& options) {
    checkDeed(options);
    const std::pair uninstall("--uninstall", options.uninstall);
    const std::pair terminal(terminalOption, options.terminal);
    const std::pair putBack(putBackOption, options.putBack);
    const std::pair empty(emptyOption, options.empty);
    const std::pair list("--list", options.list);
    check({options.removeShared, "--remove-shared", {uninstall, terminal, list}});
    check({options.removeShared && options.putBack, "--remove-shared", {uninstall, terminal}});
    check({options.report.has_value(), "--report", {uninstall, terminal, putBack, empty}});
    check({options.quiet, "--quiet", {uninstall, putBack, {"--yes", options.yes}}});
    check({options.json,
           "--json",
           {list, {"--list-runs", options.listRuns}, {"--show-last", options.showLast}}});
    if (options.report && options.report->empty()) {
        throw CLI::ValidationError("--report", "the file has no name");
    }
    check({options.report == standardOutput, "--report -", {{"--quiet", options.quiet}}});
}

} // namespace

std::vector<std::string> optionsForAccount(const Options& options) {
    std::vector<std::string> words{"--uninstall", "--quiet", "--report", standardOutput};
    if (options.removeShared) {
        words.emplace_back("--remove-shared");
    }
    if (options.empty) {
        words.emplace_back(emptyOption);
    }
    return words;
}

std::variant<Options, int> parseCommandLine(int argc, char** argv, const std::string& version) {
    CLI::App app(description, "kelvane-uninstaller");
    app.set_help_flag("--help", "Print this text.");
    app.set_version_flag("--version", "kelvane-uninstaller " + version, "Print the version.");
    app.footer(exitStatuses());
    app.formatter(std::make_shared<Formatter>());
    app.get_formatter()->column_width(columnWidth);
    Options options;
    addOptions(app, options);
    try {
        app.parse(argc, argv);
        options.putBack = app.count(putBackOption) > 0;
        options.empty = app.count(emptyOption) > 0;
        checkTogether(options);
        return options;
    } catch (const CLI::Success& success) {
        return app.exit(success);
    } catch (const CLI::ParseError& error) {
        std::cerr << app.get_name() << ": " << error.what() << '\n'
                  << "Run with --help for more information.\n";
        return static_cast<int>(ExitStatus::usage);
    }
}

} // namespace cli
