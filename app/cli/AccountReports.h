#pragma once

#include "app/cli/Document.h"
#include "app/cli/ExitStatus.h"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace cli {

/// What became of one account's items.
struct AccountResult {
    std::string user;
    std::string home;
    /// `complete`, `leftInPlace` or `failed`; empty if the account was passed over.
    std::optional<ExitStatus> status;
    /// Why it failed or was passed over, in the user's words.
    std::string reason = {};
    /// The rows of the account's own report.
    Json rows = Json::array();
    std::size_t removedCount = 0;
    std::size_t leftCount = 0;
};

/// Takes over what an account's run has said: its exit status and its report. Nothing in the report
/// is trusted: it is the work of a process of that account. A report that is none of this program's
/// runs, or contradicts the status, makes the account a failed one.
void takeReport(const std::string& report, int status, AccountResult& result);

/// Returns the status of all: the worst.
ExitStatus statusOf(const std::vector<AccountResult>& accounts);

/// Returns one line about an account for a person.
std::string lineOf(const AccountResult& account);

/// Returns a JSON document about all accounts for programs. `isRunning` is whether more are to
/// come.
std::string accountsAsJson(const std::vector<AccountResult>& accounts, bool removeShared,
                           bool isRunning);

} // namespace cli
