#pragma once

#include "platform/linux/posix/FileDescriptor.h"

namespace qf::native {

/// Keeps what other programs complain about away from the terminal for a scope: PAM's helper says
/// there that a password was wrong, in words of its own.
class SilencedErrors {
public:
    SilencedErrors();
    ~SilencedErrors();
    SilencedErrors(const SilencedErrors&) = delete;
    SilencedErrors& operator=(const SilencedErrors&) = delete;
    SilencedErrors(SilencedErrors&&) = delete;
    SilencedErrors& operator=(SilencedErrors&&) = delete;

private:
    FileDescriptor former_;
};

} // namespace qf::native
