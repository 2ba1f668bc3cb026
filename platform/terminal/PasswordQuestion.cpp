#include "platform/terminal/PasswordQuestion.h"

#include "platform/Services.h"
#include "platform/UserAccount.h"

#include <algorithm>
#include <future>

namespace qf::terminal {

namespace {

constexpr int mostAttempts = 3;

constexpr const char* explanation =
    "Some items belong to the machine, and it takes an administrator's password to move them. "
    "Press Ctrl-C to leave them where they are.";
constexpr const char* wrongPassword = "That is not the password.";

/// Returns the user's own account if it is one of them.
const Administrator& likeliest(const std::vector<Administrator>& administrators) {
    const auto self = service<UserAccount>().realUserId();
    const auto found = std::ranges::find(administrators, self, &Administrator::userId);
    return found == administrators.end() ? administrators.front() : *found;
}

} // namespace

std::optional<GivenPassword> PasswordQuestion::ask(const std::vector<Administrator>& administrators,
                                                   int attempt) {
    if (isSilent_) {
        return std::nullopt;
    }
    if (attempt > mostAttempts) {
        application_.performOnMainThread([&] { dialogue_.screen().paragraph(wrongPassword); },
                                         Wait::untilDone);
        return std::nullopt;
    }
    const auto& administrator = likeliest(administrators);
    auto password = askFor(administrator, attempt);
    return password ? std::optional(GivenPassword{administrator, *std::move(password)})
                    : std::nullopt;
}

std::optional<std::string> PasswordQuestion::askFor(const Administrator& administrator,
                                                    int attempt) {
    std::promise<std::optional<std::string>> answer;
    application_.performOnMainThread(
        [&] {
            dialogue_.screen().paragraph(attempt == 1 ? explanation : wrongPassword);
            dialogue_.ask({"Password of " + administrator.loginName + ":",
                           [&answer](auto line) { answer.set_value(std::move(line)); }, Echo::no});
        },
        Wait::untilDone);
    return answer.get_future().get();
}

} // namespace qf::terminal
