#pragma once

#include "tests/platform/linux/authorization/helper/HelperHarness.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <functional>
#include <string>

/// Does something over and over, as the served user, as long as it succeeds.
class Attacker {
public:
    explicit Attacker(const std::function<bool()>& attack) : process_(::fork()) {
        if (process_ == 0) {
            ::alarm(100); // should the test be killed
            if (::setuid(servedUser) != 0) {
                ::_exit(1);
            }
            while (attack()) {
            }
            ::_exit(1);
        }
    }
    ~Attacker() {
        ::kill(process_, SIGKILL);
        int status = 0;
        ::waitpid(process_, &status, 0);
        EXPECT_TRUE(WIFSIGNALED(status)) << "the attack has failed";
    }
    Attacker(const Attacker&) = delete;
    Attacker& operator=(const Attacker&) = delete;
    Attacker(Attacker&&) = delete;
    Attacker& operator=(Attacker&&) = delete;

private:
    pid_t process_;
};

/// Swaps what has two names, at once.
inline bool exchange(const std::string& first, const std::string& second) {
    return ::renameat2(AT_FDCWD, first.c_str(), AT_FDCWD, second.c_str(), RENAME_EXCHANGE) == 0;
}
