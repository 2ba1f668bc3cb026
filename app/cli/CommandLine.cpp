#include "app/cli/CommandLine.h"

#include "app/cli/ExitStatus.h"

#include <CLI/CLI.hpp>

#include <iostream>
#include <sstream>

namespace cli {

namespace {

constexpr const char* description =
    "Removes Quillfen's Kelvane suite: everything is moved to the Trash.\n"
    "Without options it opens a window or, where there is no display, asks on the terminal.";

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

void addOptions(CLI::App& app, Options& options) {
    auto* uninstall =
        app.add_flag("--uninstall", options.uninstall, "Uninstall without a question.");
    app.add_flag("--remove-shared", options.removeShared,
                 "Also remove items shared by all Quillfen products.");
    auto* quiet = app.add_flag("--quiet", options.quiet,
                               "With --uninstall: print nothing, ask for no password.");
    auto* terminal = app.add_flag(terminalOption, options.terminal,
                                  "Ask on the terminal even where there is a display.");
    auto* list = app.add_flag("--list", options.list, "Print what would be moved; change nothing.");
    auto* json = app.add_flag("--json", options.json, "With --list: print JSON.");
    auto* report = app.add_option("--report", options.report,
                                  "With --uninstall or --terminal: write to FILE, as\n"
                                  "JSON, what became of every item.");
    report->type_name("FILE");
    quiet->needs(uninstall);
    json->needs(list);
    list->excludes(uninstall)->excludes(terminal)->excludes(report);
    terminal->excludes(uninstall);
}

/// Checks a rule that the library cannot express: one of several options is needed.
void checkTogether(const Options& options) {
    if (options.removeShared && !options.uninstall && !options.terminal && !options.list) {
        throw CLI::RequiresError("--remove-shared", "--uninstall, --terminal or --list");
    }
    if (options.report && !options.uninstall && !options.terminal) {
        throw CLI::RequiresError("--report", "--uninstall or --terminal");
    }
    if (options.report && options.report->empty()) {
        throw CLI::ValidationError("--report", "the file has no name");
    }
}

} // namespace

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
