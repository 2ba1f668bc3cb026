#include "platform/linux/authorization/PolkitAnswers.h"

#include "platform/PasswordQuestion.h"
#include "platform/linux/authorization/ProcessStatus.h"
#include "platform/linux/system/UserAccount.h"

#include <unistd.h>

#include <algorithm>
#include <optional>
#include <string_view>
#include <vector>

namespace qf::native {

namespace {

/// Returns the user's login name, or the number of a user without one.
std::string userName(uid_t user) {
    const auto account = accountOf(user);
    return account ? account->name : std::to_string(user);
}

bool isHelpersAction(std::string_view action) {
    return action == "org.freedesktop.policykit.exec" ||
           (action.starts_with("com.quillfen.") && action.ends_with(".helper"));
}

} // namespace

bool isOneLine(const std::string& password) {
    constexpr std::string_view ends("\n\0", 2);
    return password.find_first_of(ends) == std::string::npos;
}

PolkitAnswerer answerWith(uid_t user, const std::string& password) {
    return [user, &password](const std::vector<uid_t>& administrators, int attempt) {
        const bool isAdministrator =
            std::find(administrators.begin(), administrators.end(), user) != administrators.end();
        return isAdministrator && attempt == 1
                   ? PolkitAnswer{PolkitAnswer::Kind::password, user, &password}
                   : PolkitAnswer{};
    };
}

PolkitAnswerer answerByAsking(PasswordQuestion& question, Secret& secret) {
    return [&](const std::vector<uid_t>& users, int attempt) {
        std::vector<Administrator> administrators;
        administrators.reserve(users.size());
        for (const uid_t user : users) {
            administrators.push_back({user, userName(user)});
        }
        auto given = administrators.empty() ? std::nullopt : question.ask(administrators, attempt);
        if (!given || !isOneLine(given->password)) {
            return PolkitAnswer{.kind = PolkitAnswer::Kind::dismiss};
        }
        secret.replace(given->password);
        return PolkitAnswer{PolkitAnswer::Kind::password, given->administrator.userId,
                            &secret.text()};
    };
}

bool isForHelper(const PolkitQuestion& question) {
    return isHelpersAction(question.action) && parentOf(question.asker) == ::getpid();
}

} // namespace qf::native
