#include "tests/support/RunCommand.h"

#include "tests/support/TemporaryDirectory.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

namespace fs = std::filesystem;

namespace {

std::vector<char*> pointers(std::vector<std::string>& strings) {
    std::vector<char*> result;
    result.reserve(strings.size() + 1);
    for (auto& string : strings) {
        result.push_back(string.data());
    }
    result.push_back(nullptr);
    return result;
}

} // namespace

Outcome run(const std::vector<std::string>& command, const std::vector<std::string>& environment) {
    const TemporaryDirectory directory;
    const auto output = directory / "output";
    auto arguments = command;
    auto variables = environment;
    variables.push_back(std::string("PATH=") + std::getenv("PATH"));
    posix_spawn_file_actions_t actions{};
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, output.c_str(), O_WRONLY | O_CREAT,
                                     0600);
    posix_spawn_file_actions_adddup2(&actions, STDOUT_FILENO, STDERR_FILENO);
    pid_t child = 0;
    const int error = ::posix_spawnp(&child, arguments.front().c_str(), &actions, nullptr,
                                     pointers(arguments).data(), pointers(variables).data());
    posix_spawn_file_actions_destroy(&actions);
    int status = 0;
    if (error != 0 || ::waitpid(child, &status, 0) != child || !WIFEXITED(status)) {
        return {};
    }
    return {WEXITSTATUS(status), contentOf(output)};
}

std::string preloading(const std::string& library) {
    // The loader splits a path at spaces, and an ordinary user may not be able to reach it.
    static const TemporaryDirectory directory;
    const auto copy = directory / "library";
    if (!fs::exists(copy)) {
        fs::permissions(directory.path(), fs::perms{0755});
        fs::copy_file(library, copy);
    }
    return "LD_PRELOAD=" + copy;
}

std::vector<std::string> asOrdinaryUser() {
    if (::geteuid() != 0) {
        return {};
    }
    return {"setpriv", "--reuid=65534", "--regid=65534", "--clear-groups", "--"};
}

std::vector<std::string> withMountOn(const std::string& directory, const std::string& options) {
    return {"unshare",
            "-m",
            "sh",
            "-c",
            R"(mount -t tmpfs -o "$2" none "$1" && shift 2 && exec "$@")",
            "sh",
            directory,
            options};
}

std::vector<std::string> withBindMount(const std::string& directory, const std::string& options) {
    return {"unshare",
            "-m",
            "sh",
            "-c",
            R"(mount --bind "$1" "$1" && { test -z "$2" || mount -o "remount,bind,$2" "$1"; } &&
               shift 2 && exec "$@")",
            "sh",
            directory,
            options};
}

std::vector<std::string> withImageOn(const std::string& directory, const std::string& image) {
    return {"unshare", "-m",      "sh", "-c", R"(mount -o loop "$2" "$1" && shift 2 && exec "$@")",
            "sh",      directory, image};
}

std::string whyNoMounts() {
    const TemporaryDirectory directory;
    auto command = withMountOn(directory.path(), "size=64k");
    command.emplace_back("true");
    const auto outcome = run(command);
    return outcome.status == 0 ? "" : "no mount namespace: " + outcome.output;
}
