#pragma once

#include "platform/ProcessCopies.h"

namespace platform::native {

/// The C library's notice of forks.
class ProcessCopies : public platform::ProcessCopies {
public:
    void observe(std::function<void()> before, std::function<void()> inOriginal,
                 std::function<void()> inCopy) override;
};

} // namespace platform::native
