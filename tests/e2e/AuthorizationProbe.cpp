// Obtains and uses an administrator's right on command, one command a line on standard input, and
// prints the outcome of each. The arguments on a line are separated by tabs. Its own argument, if
// any, is the name of the helper to use, or "once" to ask nobody again who has refused.
//
//   prompt                    asks for the right with the user's help
//   prompt-twice              the same on two threads at once, a handle each
//   credentials USER PASSWORD asks for it without
//   inherit                   takes over the right of a privileged parent
//   run TOOL ARGUMENT ...     starts a tool with the right and prints its output
//   start TOOL ARGUMENT ...   starts a tool with the right and lets its output go
//   holds                     tells whether it has the right
//   end                       gives up the right

#include "platform/linux/authorization/AuthorizationServices.h"
#include "platform/linux/process/Installation.h"

#include <unistd.h>

#include <iostream>
#include <iterator>
#include <optional>
#include <sstream>
#include <string_view>
#include <thread>

namespace {

using namespace qf;

constexpr AuthorizationFlags withUser = kAuthorizationFlagInteractionAllowed +
                                        kAuthorizationFlagExtendRights +
                                        kAuthorizationFlagPreAuthorize;
constexpr AuthorizationFlags withoutUser =
    kAuthorizationFlagExtendRights + kAuthorizationFlagPreAuthorize;

class Probe {
public:
    Probe(const std::optional<std::string>& helper, native::Asking asking)
        : services_(helper ? native::HelperPaths::in(native::installationDirectory(), *helper)
                           : native::HelperPaths::installed(),
                    asking) {}

    void obey(const std::vector<std::string>& words) {
        const std::string& command = words.front();
        if (command == "prompt") {
            std::cout << obtain(ref_, {}, withUser);
        } else if (command == "prompt-twice") {
            promptTwice();
        } else if (command == "credentials" && words.size() == 3) {
            std::cout << obtain(ref_, {{"username", words[1]}, {"password", words[2]}},
                                withoutUser);
        } else if (command == "inherit") {
            const auto inherited = services_.copyPrivilegedReference(kAuthorizationFlagDefaults);
            ref_ = inherited.value_or(AuthorizationRef::none);
            std::cout << statusOf(inherited);
        } else if ((command == "run" || command == "start") && words.size() > 1) {
            execute(words, command == "run");
        } else if (command == "holds") {
            std::cout << services_.holdsRights(ref_);
        } else if (command == "end") {
            services_.free(ref_, kAuthorizationFlagDefaults);
            std::cout << 0;
        } else {
            std::cout << "unknown command";
        }
        std::cout << std::endl;
    }

private:
    template <class T>
    static AuthorizationStatus statusOf(const qf::AuthorizationResult<T>& result) {
        return result ? errAuthorizationSuccess : result.error();
    }

    AuthorizationStatus obtain(AuthorizationRef& ref, const AuthorizationItemSet& environment,
                               AuthorizationFlags flags) {
        const auto created = services_.create(environment, kAuthorizationFlagDefaults);
        ref = created.value_or(AuthorizationRef::none);
        return statusOf(services_.copyRights(ref, {"system.privilege.admin"}, environment, flags));
    }

    void promptTwice() {
        AuthorizationStatus other = errAuthorizationInternal;
        std::thread thread([this, &other] {
            AuthorizationRef ref{};
            other = obtain(ref, {}, withUser);
        });
        const auto status = obtain(ref_, {}, withUser);
        thread.join();
        std::cout << status << ' ' << other;
    }

    void execute(const std::vector<std::string>& words, bool isRead) {
        const auto output =
            services_.executeWithPrivileges(ref_, words[1], kAuthorizationFlagDefaults,
                                            {words.begin() + 2, words.end()}, std::nullopt);
        std::cout << statusOf(output);
        if (isRead && output) {
            const std::string text(std::istreambuf_iterator<char>(**output), {});
            std::cout << ' ' << text.substr(0, text.find('\n'));
        }
    }

    native::AuthorizationServices services_;
    AuthorizationRef ref_{};
};

std::vector<std::string> wordsOf(const std::string& line) {
    std::vector<std::string> words;
    std::istringstream stream(line);
    for (std::string word; std::getline(stream, word, '\t');) {
        words.push_back(word);
    }
    // A line that ends with a tab ends with an empty word.
    if (words.empty() || line.ends_with('\t')) {
        words.emplace_back();
    }
    return words;
}

} // namespace

int main(int argc, char* argv[]) {
    const bool asksOnce = argc > 1 && argv[1] == std::string_view("once");
    Probe probe(argc > 1 && !asksOnce ? std::optional<std::string>(argv[1]) : std::nullopt,
                asksOnce ? native::Asking::once : native::Asking::always);
    std::cout << ::getpid() << std::endl;
    for (std::string line; std::getline(std::cin, line);) {
        probe.obey(wordsOf(line));
    }
    return 0;
}
