#include "app/start/AllUsersMain.h"

#include "app/cli/AccountReports.h"
#include "app/cli/ReportFile.h"
#include "app/start/TerminalUser.h"
#include "platform/LoginAccounts.h"
#include "platform/Services.h"
#include "platform/SystemInformation.h"
#include "platform/foundation/Exception.h"
#include "platform/foundation/Text.h"
#include "platform/foundation/Thread.h"
#include "platform/support/LimitedRun.h"

#include <atomic>
#include <exception>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

namespace start {

using cli::AccountResult;
using cli::ExitStatus;

namespace {

/// A run moves items to other volumes, which takes its time; a report has about a hundred lines.
constexpr qf::RunLimits limits{.time = std::chrono::hours(1), .output = 1U << 18U};

constexpr unsigned rootsUserId = 0;

constexpr const char* interrupted = "the program was interrupted before its turn";
constexpr const char* tookTooLong = "it did not end within an hour and was killed";
constexpr const char* wroteTooMuch = "it wrote more than any report has and was killed";

/// Returns the first line that a program has written, without its name and shortened.
std::string firstLineOf(const std::string& errors) {
    constexpr std::size_t mostCharacters = 300;
    const auto line = errors.substr(0, errors.find('\n'));
    const auto name = line.find(": ");
    const auto text = name == std::string::npos ? line : line.substr(name + 2);
    return std::string(qf::text::prefix(text, mostCharacters));
}

/// Runs the program as one account after the other, on a thread of its own.
class AllUsers {
public:
    AllUsers(cli::Options options, TerminalUser& user, const cli::ReportFile& report)
        : options_(std::move(options)), user_(user), report_(report) {
        user_.dialogue.onInterruption([this] {
            isInterrupted_ = true;
            user_.screen.paragraph("The account that has begun goes on to its end.");
        });
    }

    /// Begins, and terminates the application when all is done. Main thread only.
    void begin() {
        qf::detachNewThread([this] {
            for (const auto& account : all_) {
                results_.push_back(resultOf(account));
                show(cli::lineOf(results_.back()));
                reportSoFar();
            }
            user_.application.performOnMainThread([this] { user_.application.terminate(); },
                                                  qf::Wait::untilDone);
        });
    }

    /// Returns what became of each, when all is done.
    const std::vector<AccountResult>& results() const { return results_; }

private:
    AccountResult resultOf(const qf::LoginAccount& account) {
        AccountResult result{.user = account.name, .home = account.home, .status = {}};
        if (!account.whyNot.empty()) {
            result.reason = account.whyNot;
            if (account.userId == rootsUserId) { // whose run removes the machine's items
                result.status = ExitStatus::failed;
            }
            return result;
        }
        result.status = ExitStatus::failed;
        if (isInterrupted_) {
            result.reason = interrupted;
            return result;
        }
        try {
            run(account, result);
        } catch (const std::exception& exception) {
            result.reason = exception.what();
        }
        return result;
    }

    void run(const qf::LoginAccount& account, AccountResult& result) {
        const auto ended = qf::runWithin(
            limits, accounts_.programAs(
                        account, qf::service<qf::SystemInformation>().executablePath().value_or(""),
                        cli::optionsForAccount(options_)));
        if (ended.tookTooLong || ended.wroteTooMuch) {
            result.reason = ended.tookTooLong ? tookTooLong : wroteTooMuch;
            return;
        }
        cli::takeReport(ended.output, ended.status, result);
        const auto said = firstLineOf(ended.errors);
        if (result.status == ExitStatus::failed && !said.empty()) {
            result.reason = said;
        }
    }

    /// Has the report say what there is in case the program is killed. A failure is told in the
    /// end.
    void reportSoFar() const {
        try {
            report_.prepare(cli::accountsAsJson(results_, options_.removeShared, true));
        } catch (const qf::Exception&) {
            return;
        }
    }

    void show(const std::string& line) {
        user_.application.performOnMainThread([this, line] { user_.screen.line(line); },
                                              qf::Wait::no);
    }

    const cli::Options options_;
    TerminalUser& user_;
    const cli::ReportFile& report_;
    qf::LoginAccounts& accounts_ = qf::service<qf::LoginAccounts>();
    const std::vector<qf::LoginAccount> all_ = accounts_.all();
    std::atomic<bool> isInterrupted_ = false;
    std::vector<AccountResult> results_;
};

} // namespace

ExitStatus allUsersMain(const cli::Options& options) {
    // Never destroyed: their threads may still call them when this function returns.
    static auto& user = *new TerminalUser(options, qf::terminal::Manner::silent);
    static const auto& report = *new cli::ReportFile(options);
    static auto& all = *new AllUsers(options, user, report);
    report.prepare(cli::accountsAsJson({}, options.removeShared, true));
    // The others may not enter root's directories.
    std::filesystem::current_path("/");
    all.begin();
    user.application.run();
    report.write(cli::accountsAsJson(all.results(), options.removeShared, false));
    return cli::statusOf(all.results());
}

} // namespace start
