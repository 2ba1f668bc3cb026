#pragma once

#include "platform/ProcessCopies.h"

namespace qf::native {

/// The notice of forks by the C library (pthread_atfork).
class ProcessCopies : public qf::ProcessCopies {
public:
    void observe(std::function<void()> before, std::function<void()> inOriginal,
                 std::function<void()> inCopy) override;
};

} // namespace qf::native
