#pragma once

#include "tests/support/RunCommand.h"

#include <cerrno>
#include <string>
#include <vector>

/// Every rename tells that it would lead to another volume.
inline const std::string otherVolume = "renameat2:1:" + std::to_string(EXDEV);

/// The environment that a child is started with so that its system calls fail.
inline std::vector<std::string> withFaults(const std::string& faults) {
    return {preloading(QF_FAULTY_CALLS), "QF_FAULTS=" + faults,
            "ASAN_OPTIONS=verify_asan_link_order=0"};
}
