#pragma once

#include <string>
#include <vector>

/// How a command ended and what it wrote to standard output and standard error.
struct Outcome {
    int status = -1;
    std::string output;
};

/// Runs a command to its end, found through PATH, with these environment variables ("NAME=value")
/// and PATH alone.
Outcome run(const std::vector<std::string>& command,
            const std::vector<std::string>& environment = {});

/// The variable that has a command load a library of the build tree before all others: the same one
/// in all of a test program.
std::string preloading(const std::string& library);

/// The command that runs another as an ordinary user without privileges; empty when the test is
/// run by one.
std::vector<std::string> asOrdinaryUser();

/// The command that runs another in a mount namespace of its own, where an empty file system of
/// memory with these options is mounted on `directory`.
std::vector<std::string> withMountOn(const std::string& directory, const std::string& options);

/// The command that runs another in a mount namespace of its own, where `directory` is bound to
/// itself with these options: the same device, another mount.
std::vector<std::string> withBindMount(const std::string& directory,
                                       const std::string& options = "");

/// Why the machine does not let the test mount anything; empty when it does.
std::string whyNoMounts();
