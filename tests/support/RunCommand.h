#pragma once

#include <string>
#include <vector>

/// How a command ended and what it wrote to standard output and standard error.
struct Outcome {
    int status = -1;
    std::string output;
};

/// Runs a command, found through PATH, and waits for it to end. Its environment is these variables
/// ("NAME=value") and PATH.
Outcome run(const std::vector<std::string>& command,
            const std::vector<std::string>& environment = {});

/// Returns the variable that makes a command load a library of the build tree before all others;
/// the same library throughout a test program.
std::string preloading(const std::string& library);

/// Returns the command that runs another as an unprivileged user; empty if the test is run by one.
std::vector<std::string> asOrdinaryUser();

/// Returns the command that runs another in a private mount namespace, where an empty file system
/// in memory with these options is mounted on `directory`.
std::vector<std::string> withMountOn(const std::string& directory, const std::string& options);

/// Returns the command that runs another in a private mount namespace, where `directory` is bound
/// to itself with these options: the same device, another mount.
std::vector<std::string> withBindMount(const std::string& directory,
                                       const std::string& options = "");

/// Returns the command that runs another in a private mount namespace, where the file system in the
/// file `image` is mounted on `directory`.
std::vector<std::string> withImageOn(const std::string& directory, const std::string& image);

/// Returns why the machine does not let the test mount anything; empty if it does.
std::string whyNoMounts();
