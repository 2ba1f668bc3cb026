// Obtains the administrator's right once and runs a tool with it COUNT times, one after the other:
// "authorization-bench COUNT TOOL". Prints its process id, waits for a line, and prints the seconds
// that the tools took, without the time for the right.

#include "platform/linux/authorization/AuthorizationServices.h"

#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <iostream>
#include <limits>
#include <string>

namespace {

using namespace qf;

constexpr AuthorizationFlags withUser = kAuthorizationFlagInteractionAllowed +
                                        kAuthorizationFlagExtendRights +
                                        kAuthorizationFlagPreAuthorize;

bool runTool(native::AuthorizationServices& services, AuthorizationRef ref,
             const std::string& path) {
    const auto tool =
        services.executeWithPrivileges(ref, path, kAuthorizationFlagDefaults, {}, std::nullopt);
    if (!tool) {
        return false;
    }
    (*tool)->ignore(std::numeric_limits<std::streamsize>::max());
    return true;
}

} // namespace

int main(int argc, char* argv[]) {
    if (argc != 3) {
        return EXIT_FAILURE;
    }
    std::cout << ::getpid() << std::endl;
    std::string go;
    std::getline(std::cin, go);

    native::AuthorizationServices services;
    const auto created = services.create({}, kAuthorizationFlagDefaults);
    if (!created || !services.copyRights(*created, {"system.privilege.admin"}, {}, withUser)) {
        return EXIT_FAILURE;
    }
    const auto begin = std::chrono::steady_clock::now();
    for (int count = std::atoi(argv[1]); count > 0; --count) {
        if (!runTool(services, *created, argv[2])) {
            return EXIT_FAILURE;
        }
    }
    const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - begin;
    std::cout << seconds.count() << std::endl;
    services.free(*created, kAuthorizationFlagDefaults);
    return EXIT_SUCCESS;
}
