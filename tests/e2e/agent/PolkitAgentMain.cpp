// Plays the person at the desktop's password question, for one process:
//
//   polkit-agent PROCESS dismiss
//   polkit-agent PROCESS silent
//   polkit-agent PROCESS answer PASSWORD ...
//
// It answers with the passwords in turn, as the current user if that is an administrator, otherwise
// as the first administrator, and dismisses the question when there are no more. It prints "ready",
// then "asked" for each question, and ends with its standard input.

#include "platform/linux/authorization/PolkitAgent.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <string>
#include <vector>

namespace {

using qf::native::PolkitAgent;
using qf::native::PolkitAnswer;

class Person {
public:
    Person(std::string manner, std::vector<std::string> passwords)
        : manner_(std::move(manner)), passwords_(std::move(passwords)) {}

    PolkitAnswer answer(const std::vector<uid_t>& administrators, int attempt) const {
        std::cout << "asked" << std::endl;
        if (manner_ == "silent") {
            ::pause();
        }
        if (manner_ == "dismiss") {
            return {PolkitAnswer::Kind::dismiss};
        }
        const auto index = static_cast<std::size_t>(attempt) - 1;
        if (index >= passwords_.size() || administrators.empty()) {
            return {};
        }
        const auto self = std::find(administrators.begin(), administrators.end(), ::getuid());
        const uid_t user = self == administrators.end() ? administrators.front() : *self;
        return {PolkitAnswer::Kind::password, user, &passwords_[index]};
    }

private:
    std::string manner_;
    std::vector<std::string> passwords_;
};

} // namespace

int main(int count, char** words) {
    if (count < 3) {
        std::cerr << "usage: polkit-agent PROCESS dismiss|silent|answer [PASSWORD ...]\n";
        return EXIT_FAILURE;
    }
    const Person person(words[2], {words + 3, words + count});
    const PolkitAgent agent(
        std::atoi(words[1]),
        [&](const auto& administrators, int attempt) {
            return person.answer(administrators, attempt);
        },
        [](const auto&) { return true; });
    std::cout << (agent.isRegistered() ? "ready" : "refused") << std::endl;
    for (std::string line; std::getline(std::cin, line);) {
    }
    std::_Exit(EXIT_SUCCESS); // a silent agent's thread never ends
}
