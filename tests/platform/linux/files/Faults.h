#pragma once

#include "tests/support/RunCommand.h"

#include <cerrno>
#include <string>
#include <vector>

/// Makes every rename fail as if it led to another volume.
inline const std::string otherVolume = "renameat2:1:" + std::to_string(EXDEV);

/// Returns the fault of a call, such as "fsync:1", that fails with a number.
inline std::string failing(const std::string& call, int number) {
    return call + ':' + std::to_string(number);
}

/// Returns the environment to start a child with so that its system calls fail, and events that
/// change a file change this one.
inline std::vector<std::string> withFaults(const std::string& faults,
                                           const std::string& changedFile = "") {
    return {preloading(QF_FAULTY_CALLS), "QF_FAULTS=" + faults, "QF_CHANGED=" + changedFile,
            "ASAN_OPTIONS=verify_asan_link_order=0"};
}
