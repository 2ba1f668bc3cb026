#pragma once

#include <sys/resource.h>

/// Lowers a limit of the process, such as RLIMIT_NOFILE, for a scope.
template <auto resource>
class ScopedLimit {
public:
    explicit ScopedLimit(rlim_t value) {
        ::getrlimit(resource, &former_);
        const rlimit lowered{.rlim_cur = value, .rlim_max = former_.rlim_max};
        ::setrlimit(resource, &lowered);
    }
    ~ScopedLimit() { ::setrlimit(resource, &former_); }
    ScopedLimit(const ScopedLimit&) = delete;
    ScopedLimit& operator=(const ScopedLimit&) = delete;
    ScopedLimit(ScopedLimit&&) = delete;
    ScopedLimit& operator=(ScopedLimit&&) = delete;

private:
    rlimit former_{};
};
