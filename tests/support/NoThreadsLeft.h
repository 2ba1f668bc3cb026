#pragma once

#include <pthread.h>

#include <cstddef>

/// Makes starting threads fail for a scope: new threads ask for more stack than there is address
/// space.
class NoThreadsLeft {
public:
    NoThreadsLeft() {
        ::pthread_getattr_default_np(&former_);
        pthread_attr_t greedy{};
        ::pthread_getattr_default_np(&greedy);
        ::pthread_attr_setstacksize(&greedy, std::size_t{1} << 47U);
        ::pthread_setattr_default_np(&greedy);
        ::pthread_attr_destroy(&greedy);
    }
    ~NoThreadsLeft() {
        ::pthread_setattr_default_np(&former_);
        ::pthread_attr_destroy(&former_);
    }
    NoThreadsLeft(const NoThreadsLeft&) = delete;
    NoThreadsLeft& operator=(const NoThreadsLeft&) = delete;
    NoThreadsLeft(NoThreadsLeft&&) = delete;
    NoThreadsLeft& operator=(NoThreadsLeft&&) = delete;

private:
    pthread_attr_t former_{};
};
