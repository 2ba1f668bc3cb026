#include "platform/linux/tools/launchctl/ServiceManager.h"

#include <dlfcn.h>

namespace qf::native::launchctl {

namespace {

/// The loader replaces $ORIGIN by the directory of this program.
constexpr const char* modulePath = "$ORIGIN/../lib/systemd.so";

} // namespace

std::unique_ptr<ServiceManager>
connectToServiceManager(Domain domain, ServiceManager::Clock::time_point deadline) {
    void* module = ::dlopen(modulePath, RTLD_NOW | RTLD_LOCAL);
    void* function = module == nullptr ? nullptr : ::dlsym(module, "moduleMain");
    if (function == nullptr) {
        throw tool::ToolError(::dlerror());
    }
    auto* const connect = reinterpret_cast<ConnectFunction*>(function);
    return std::unique_ptr<ServiceManager>(connect(domain, deadline));
}

} // namespace qf::native::launchctl
